// What bash offers for spf-may-send's arguments.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

using Texts = std::vector<std::string>;

const Texts kOptions = {"--time-limit", "--server", "--record", "--explain",
                        "--quiet",      "--help",   "--version"};

std::string Quote(const std::string& text) {
  return "'" + std::regex_replace(text, std::regex("'"), "'\\''") + "'";
}

std::string JoinLines(const Texts& texts) {
  std::string lines;
  for (const std::string& text : texts) {
    lines += text + "\n";
  }
  return lines;
}

class CompletionTest : public testing::Test {
 protected:
  CompletionTest() {
    m_directory.Write("hosts", "192.0.2.1 mail.example.org\n192.0.2.2 other.test\n");
  }

  // Returns what bash prints for `script`, after it has read the completion.
  std::string RunBash(const std::string& script) const {
    const std::string set_up = "HOSTFILE=" + Quote(m_directory.Path("hosts")) + "; . " +
                               Quote(SPF_MAY_SEND_COMPLETION) + "; ";
    const ChildResult result =
        RunChild("/bin/bash", {"bash", "-c", set_up + script}, m_directory.Path());
    EXPECT_EQ(result.standardError, "");
    return result.standardOutput;
  }

  // Expects `candidates` for the words as bash cuts them, the last of which is being completed;
  // `text` is what bash replaces.
  void ExpectCandidates(const Texts& candidates, const std::string& text,
                        const Texts& words) const {
    std::string line = "spf-may-send";
    for (const std::string& word : words) {
      line += " " + Quote(word);
    }
    const std::string last = std::to_string(words.size());
    EXPECT_EQ(RunBash("COMP_WORDS=(" + line + ") COMP_CWORD=" + last +
                      " COMPREPLY=(left over); _spf_may_send spf-may-send " + Quote(text) +
                      " \"${COMP_WORDS[COMP_CWORD - 1]}\"; "
                      "[ ${#COMPREPLY[@]} = 0 ] || printf '%s\\n' \"${COMPREPLY[@]}\""),
              JoinLines(candidates))
        << line;
  }

  TemporaryDirectory m_directory;
};

}  // namespace

TEST_F(CompletionTest, AnOptionIsCompletedBeforeTheAddressAlone) {
  ExpectCandidates(kOptions, "-", {"-"});
  ExpectCandidates({"--explain"}, "--e", {"--e"});
  ExpectCandidates({"--quiet"}, "--q", {"-t", "10", "--q"});
  ExpectCandidates({"--quiet"}, "--q", {"--explain", "--server", "=", "127.0.0.1", "--q"});
  ExpectCandidates({}, "--q", {"192.0.2.7", "example.org", "--q"});
  ExpectCandidates({}, "--q", {"--", "--q"});
  ExpectCandidates({}, "", {""});
}

TEST_F(CompletionTest, AValueOfAnOptionIsNotCompleted) {
  for (const char* option : {"-t", "-s", "-r", "--time-limit", "--server", "--record"}) {
    ExpectCandidates({}, "m", {option, "m"});
    ExpectCandidates({}, "--", {option, "--"});
    ExpectCandidates({}, "m", {"-e", option, "m"});
  }
  ExpectCandidates({}, "m", {"--server", "=", "m"});
}

TEST_F(CompletionTest, EachOptionOfTheProgramIsKnown) {
  const ChildResult help =
      RunChild(SPF_MAY_SEND_PROGRAM, {"spf-may-send", "--help"}, m_directory.Path());
  const std::regex option("\n  -[a-zA-Z], (--[a-z-]*)");
  Texts options;
  for (std::sregex_iterator found(help.standardOutput.begin(), help.standardOutput.end(), option);
       found != std::sregex_iterator(); ++found) {
    options.push_back((*found)[1]);
  }
  EXPECT_EQ(options, kOptions);
}

TEST_F(CompletionTest, AnAddressIsNotCompleted) {
  ExpectCandidates({}, "m", {"m"});
  ExpectCandidates({}, "m", {"-e", "m"});
  ExpectCandidates({}, "m", {"--record", "\"v=spf1 a:x -all\"", "m"});
}

TEST_F(CompletionTest, ADomainIsCompletedToAHostName) {
  const Texts host = {"mail.example.org"};
  ExpectCandidates(host, "mail", {"192.0.2.7", "mail"});
  ExpectCandidates(host, "mail", {"-e", "-t", "10", "--", "192.0.2.7", "mail"});
  ExpectCandidates(host, "mail", {"--record", "=", "\"v=spf1 a:x -all\"", "192.0.2.7", "mail"});
  ExpectCandidates(host, "mail", {"--record", "=", "v", "=", "spf1", "192.0.2.7", "mail"});
  ExpectCandidates({}, "nosuch", {"192.0.2.7", "nosuch"});
}

TEST_F(CompletionTest, TheDomainOfASenderIsCompleted) {
  ExpectCandidates({"other.test"}, "ot", {"192.0.2.7", "joe", "@", "ot"});
  ExpectCandidates({"@mail.example.org", "@other.test"}, "@", {"192.0.2.7", "joe", "@"});
  ExpectCandidates({"joe@other.test"}, "joe@ot", {"192.0.2.7", "\"joe@ot"});
  ExpectCandidates({"<joe@other.test>"}, "<joe@ot", {"192.0.2.7", "'<joe@ot"});
  ExpectCandidates({}, "<", {"192.0.2.7", "'<"});
}

TEST_F(CompletionTest, AfterTheSenderNothingIsCompleted) {
  ExpectCandidates({}, "", {"192.0.2.7", "joe", "@", "example.org", ""});
  ExpectCandidates({}, "m", {"192.0.2.7", "example.org", "m"});
}

// As a shell that stops at unset variables and has no command to call.
TEST_F(CompletionTest, BashAloneIsEnough) {
  EXPECT_EQ(RunBash("set -u; PATH=/nowhere; COMP_WORDS=(spf-may-send -e 192.0.2.7 some @ ma); "
                    "COMP_CWORD=5; _spf_may_send spf-may-send ma @; echo \"${COMPREPLY[*]}\""),
            "mail.example.org\n");
}

TEST_F(CompletionTest, ATabInATerminalCompletesWhatBashHasCut) {
  if (!std::filesystem::exists("/dev/pts/ptmx")) {
    GTEST_SKIP() << "this machine forbids terminals";
  }
  m_directory.Write("rc", "PS1= HISTFILE= TERM=dumb HOSTFILE=" + m_directory.Path("hosts") +
                              "\n. " + SPF_MAY_SEND_COMPLETION +
                              "\nspf-may-send() { printf '<%s>' \"$@\" > " +
                              m_directory.Path("arguments") + "; }\n");
  RunBash(
      "printf 'spf-may-send --exp\\t192.0.2.7 some@ma\\t\\nexit\\n' | INPUTRC=/dev/null "
      "timeout 30 script -qec 'bash --rcfile rc -i' /dev/null > terminal");
  EXPECT_EQ(m_directory.Read("arguments"), "<--explain><192.0.2.7><some@mail.example.org>");
}
