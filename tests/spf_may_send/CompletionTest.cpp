// The completion of spf-may-send's arguments by bash.

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/Completion.h"

namespace {

using Texts = std::vector<std::string>;

const Texts kOptions = {"--time-limit", "--server", "--record", "--explain",
                        "--quiet",      "--help",   "--version"};

class CompletionTest : public testing::Test {
 protected:
  void ExpectCandidates(const Texts& candidates, const std::string& text,
                        const Texts& words) const {
    m_completion.ExpectCandidates(candidates, text, words);
  }

  const Completion m_completion{"spf-may-send"};
};

}  // namespace

TEST_F(CompletionTest, AnOptionIsCompletedOnlyBeforeTheAddress) {
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
  const ChildResult help = RunChild(SPF_MAY_SEND_PROGRAM, {"spf-may-send", "--help"}, "/");
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

TEST_F(CompletionTest, BashAloneIsEnough) {
  m_completion.ExpectFromBashAlone("mail.example.org", "ma",
                                   {"-e", "192.0.2.7", "some", "@", "ma"});
}

TEST_F(CompletionTest, ATabInATerminalCompletesWordsThatBashSplits) {
  EXPECT_EQ(m_completion.ArgumentsTyped("spf-may-send --exp\\t192.0.2.7 some@ma\\t"),
            "<--explain><192.0.2.7><some@mail.example.org>");
}
