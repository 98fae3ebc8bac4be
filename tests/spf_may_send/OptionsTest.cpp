// The command line of spf-may-send.

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "tests/spf_may_send/MaySendRun.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/ScriptedNameServer.h"

namespace {

using Texts = std::vector<std::string>;
using Zone = ScriptedNameServer::Zone;

const std::string kRecord = "v=spf1 ip4:192.0.2.0/24 -all";
const std::string kPassedLine = "passed: ip4:192.0.2.0/24 of example.org matches\n";

using OptionsTest = MaySendTest;

// Arguments, and the message about them.
using Mistake = std::pair<Texts, std::string>;

// Returns how long a check without an answer takes.
double SecondsWithoutAnswer(const Texts& arguments) {
  const ScriptedNameServer server(Silence);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(MaySendRun(arguments).GetStatus(), kNoVerdict);
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

TEST_F(OptionsTest, HelpNamesEachOptionAndEachStatus) {
  for (const char* option : {"-h", "--help"}) {
    MaySendRun run({option});
    EXPECT_EQ(run.GetStatus(), 0);
    EXPECT_EQ(run.GetErrors(), "");
    for (const char* word :
         {"-t, --time-limit SECONDS", "-s, --server ADDRESS", "-r, --record RECORD",
          "-e, --explain", "-q, --quiet", "-h, --help", "-V, --version", "0 for passed",
          "1 for failed", "2 for wrong\nuse", "3 for none", "4 for no verdict"}) {
      EXPECT_NE(run.GetOutput().find(word), std::string::npos) << word;
    }
  }
}

TEST_F(OptionsTest, VersionIsThatOfTheProject) {
  for (const char* option : {"-V", "--version"}) {
    ExpectVerdict({option}, 0, "spf-may-send " PROJECT_VERSION "\n");
  }
}

TEST_F(OptionsTest, ARecordIsEvaluatedInsteadOfThePublishedOne) {
  const ScriptedNameServer server(Zone{{"TXT example.org", {"v=spf1 -all"}}});
  for (const Texts& words : {Texts{"-r", kRecord}, Texts{"--record", kRecord},
                             Texts{"--record=" + kRecord}, Texts{"-r" + kRecord}}) {
    Texts arguments = words;
    arguments.insert(arguments.end(), {"192.0.2.7", "example.org"});
    ExpectVerdict(arguments, kPassed, kPassedLine);
  }
  EXPECT_EQ(server.Questions(), Texts{});
}

TEST_F(OptionsTest, AnEmptyRecordIsMalformed) {
  const ScriptedNameServer server(Zone{{"TXT example.org", {kRecord}}});
  ExpectVerdict({"--record", "", "192.0.2.7", "example.org"}, kNoVerdict,
                "no verdict: malformed record: it is empty\n");
  EXPECT_EQ(server.Questions(), Texts{});
}

TEST_F(OptionsTest, ARecordWithoutTheVersionIsMalformed) {
  ExpectVerdict({"-r", "ip4:192.0.2.7", "192.0.2.7", "example.org"}, kNoVerdict,
                "no verdict: malformed record: it does not begin with v=spf1\n");
}

TEST_F(OptionsTest, TheServerIsAskedInsteadOfTheSystems) {
  SetResolverFile("nameserver 127.0.0.9\n");
  for (const Texts& words : {Texts{"-s", "127.0.0.1"}, Texts{"--server", "127.0.0.1"}}) {
    const ScriptedNameServer server(Zone{{"TXT example.org", {kRecord}}});
    ExpectVerdict({words[0], words[1], "192.0.2.7", "example.org"}, kPassed, kPassedLine);
    EXPECT_EQ(server.Questions(), Texts{"TXT example.org"});
  }
}

TEST_F(OptionsTest, TheTimeLimitIsInSecondsAndMayHaveDecimals) {
  for (const char* option : {"-t", "--time-limit"}) {
    EXPECT_LT(SecondsWithoutAnswer({option, ".25", "192.0.2.7", "example.org"}), 4.5);
  }
  const double seconds = SecondsWithoutAnswer({"-t", "1", "192.0.2.7", "example.org"});
  EXPECT_GE(seconds, 1.0);
  EXPECT_LT(seconds, 4.5);
  for (const char* limit : {"0.001", "86400", "1.", "20"}) {
    ExpectVerdict({"-t", limit, "-r", kRecord, "192.0.2.7", "example.org"}, kPassed, kPassedLine);
  }
}

TEST_F(OptionsTest, QuietPrintsNothing) {
  const ScriptedNameServer server(Zone{});
  for (const char* option : {"-q", "--quiet"}) {
    ExpectVerdict({option, "-r", kRecord, "192.0.2.7", "example.org"}, kPassed, "");
    ExpectVerdict({option, "-r", kRecord, "198.51.100.7", "example.org"}, kFailed, "");
    ExpectVerdict({option, "192.0.2.7", "example.org"}, kNone, "");
    ExpectVerdict({option, "2001:db8::1", "example.org"}, kNoVerdict, "");
    ExpectVerdict({option, "-e", "-r", kRecord, "192.0.2.7", "example.org"}, kPassed, "");
  }
}

TEST_F(OptionsTest, ExplainAddsLinesAfterTheFirst) {
  for (const char* option : {"-e", "--explain", "--exp"}) {
    MaySendRun run({option, "-r", kRecord, "192.0.2.7", "example.org"});
    EXPECT_EQ(run.GetStatus(), kPassed);
    EXPECT_TRUE(run.GetOutput().starts_with(kPassedLine + "  example.org (")) << run.GetOutput();
  }
}

TEST_F(OptionsTest, TheLastOfTwoEqualOptionsCounts) {
  ExpectVerdict({"-r", "v=spf1 -all", "-r", kRecord, "192.0.2.7", "example.org"}, kPassed,
                kPassedLine);
}

// A stranger chooses the sender: "--help" must not give the status of passed.
TEST_F(OptionsTest, NothingAfterTheAddressIsAnOption) {
  for (const char* sender : {"--help", "--version", "-h", "-V", "-q", "--record=v=spf1"}) {
    SCOPED_TRACE(sender);
    MaySendRun run({"-r", "v=spf1 -all", "192.0.2.7", sender});
    EXPECT_GE(run.GetStatus(), kFailed);
    EXPECT_NE(run.GetOutput(), "");
  }
  ExpectVerdict({"-r", "v=spf1 -all", "192.0.2.7", "--help@example.org"}, kFailed,
                "failed: no term of example.org matches\n");
  ExpectVerdict({"-r", "v=spf1 -all", "--", "192.0.2.7", "--help@example.org"}, kFailed,
                "failed: no term of example.org matches\n");
}

TEST_F(OptionsTest, AnUnknownOptionIsWrongUse) {
  for (const auto& [arguments, message] : {
           Mistake{{"--no"}, "no such option: --no"},
           Mistake{{"--no=1", "192.0.2.7", "example.org"}, "no such option: --no=1"},
           Mistake{{"-x", "192.0.2.7", "example.org"}, "no such option: -x"},
           Mistake{{"-qx", "192.0.2.7", "example.org"}, "no such option: -x"},
           Mistake{{"-xq", "192.0.2.7", "example.org"}, "no such option: -x"},
           Mistake{{"--quiet", "-xq", "192.0.2.7", "example.org"}, "no such option: -x"},
           Mistake{{"-:"}, "no such option: -:"},
           Mistake{{"-\xff"}, "no such option: -\\377"},
           Mistake{{"--\x1b[31m\n"}, "no such option: --\\033[31m\\012"},
           Mistake{{"--quiet=no"}, "an option that takes no value: --quiet=no"},
           Mistake{{"--record"}, "a value is missing after --record"},
           Mistake{{"-et"}, "a value is missing after -et"},
       }) {
    ExpectWrongUse(arguments, message);
  }
}

TEST_F(OptionsTest, ATimeLimitIsFromAMillisecondToADay) {
  for (const std::string limit : {"", "0", "-1", "0.0009", "86400.1", "1e3", "1,5", "5s", "x",
                                  "nan", "inf", "+1", " 1", "0x10", "99999999999999999999999999"}) {
    ExpectWrongUse({"-t", limit, "192.0.2.7", "example.org"},
                   "the time limit is a number of seconds, 0.001 to 86400: " + limit);
  }
}

TEST_F(OptionsTest, AServerIsADottedQuadOtherThanZero) {
  for (const std::string server :
       {"", "0.0.0.0", "::1", "localhost", "127.1", "127.0.0.1:53", "127.0.0.256", "--quiet"}) {
    ExpectWrongUse({"--server", server, "192.0.2.7", "example.org"},
                   "the name server is an IPv4 address other than 0.0.0.0: " + server);
  }
}

TEST_F(OptionsTest, AnythingButTwoArgumentsIsWrongUse) {
  for (const auto& [arguments, message] : {
           Mistake{{}, "an address and a sender or domain are wanted"},
           Mistake{{"192.0.2.7"}, "the sender or domain is missing"},
           Mistake{{"2001:db8::1"}, "the sender or domain is missing"},
           Mistake{{"example.org"}, "the address is missing: it is the first argument"},
           Mistake{{"192.0.2.7", "example.org", "more"}, "too many arguments: more"},
       }) {
    ExpectWrongUse(arguments, message);
  }
}
