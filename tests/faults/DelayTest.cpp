// Replies that take their time, or never come.

#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "tests/faults/KnownRun.h"
#include "tests/faults/ToolProcess.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/ScriptedNameServer.h"

namespace {

using std::chrono::milliseconds;

// What the check of domain logs when it begins.
std::string Begin(const std::string& domain) {
  return "Debug: SPFCheck::SPFCheck ip(192.0.2.7), smtpFrom(), domain(" + domain + ")\n";
}

std::string Record(const std::string& record) {
  return "Debug: SPFCheck::SPFCheck spf record = " + record + "\n";
}

std::string Include(const std::string& domain) {
  return "Debug: SPFCheck::processINCLUDE - domain::" + domain + "\n" + Begin(domain);
}

const std::string kMatch = "Debug: SPFCheck::processIP4 - domain::192.0.2.0/24\n";

Expected Verdict(const std::string& log, const std::string& word) {
  return {.standardOutput = log + "SPFCheck::" + word + " \n", .standardError = "", .log = log};
}

class DelayTest : public testing::Test {
 protected:
  DelayTest() { SetResolverFile("nameserver 127.0.0.1\n"); }

  // How long action takes.
  template <typename Action>
  static double Seconds(const Action& action) {
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
};

}  // namespace

TEST_F(DelayTest, AReplyAfter4900MillisecondsIsTakenAndOneAfter5100IsNot) {
  const ScriptedNameServer server("127.0.0.1", {{"TXT early.test", milliseconds(4900), kRecord},
                                                {"TXT late.test", milliseconds(5100), kRecord}});
  ToolProcess early({"early.test", "192.0.2.7"});
  ToolProcess late({"late.test", "192.0.2.7"});
  early.ExpectEnd(Verdict(Begin("early.test") + Record(kRecord) + kMatch, "passed"));
  late.ExpectEnd(Verdict(Begin("late.test") + kTimedOut + Record(""), "failed"));
}

TEST_F(DelayTest, InAChainEachQueryHasFiveSecondsOfItsOwn) {
  const ScriptedNameServer server(
      "127.0.0.1", {{"TXT first.test", milliseconds(3000), "v=spf1 include:second.test -all"},
                    {"TXT second.test", milliseconds(3000), kRecord}});
  ToolProcess tool({"first.test", "192.0.2.7"});
  tool.ExpectEnd(Verdict(Begin("first.test") + Record("v=spf1 include:second.test -all") +
                             Include("second.test") + Record(kRecord) + kMatch,
                         "passed"));
}

TEST_F(DelayTest, QueriesWithoutAReplyCostFiveSecondsEachAndTheNextIncludeStillPasses) {
  const std::string record = "v=spf1 include:silent.test a:mute.test include:good.test -all";
  const ScriptedNameServer server("127.0.0.1", {{"TXT good.test", milliseconds(0), kRecord}});
  ToolProcess tool({"example.org", "192.0.2.7", "", record});
  const double seconds = Seconds([&] {
    tool.ExpectEnd(Verdict(Begin("example.org") + Record(record) + Include("silent.test") +
                               kTimedOut + Record("") +
                               "Debug: SPFCheck::processA - domain::mute.test\n" + kTimedOut +
                               Include("good.test") + Record(kRecord) + kMatch,
                           "passed"));
  });
  EXPECT_GE(seconds, 9.9);
  EXPECT_LT(seconds, 14.0);
}

TEST_F(DelayTest, AReplyThatComesDuringALaterQueryIsNotTakenForItsReply) {
  const std::string record = "v=spf1 include:late.test include:slow.test -all";
  const ScriptedNameServer server("127.0.0.1",
                                  {{"TXT late.test", milliseconds(5300), kRecord},
                                   {"TXT slow.test", milliseconds(800), "v=spf1 -all"}});
  ToolProcess tool({"example.org", "192.0.2.7", "", record});
  tool.ExpectEnd(Verdict(Begin("example.org") + Record(record) + Include("late.test") + kTimedOut +
                             Record("") + Include("slow.test") + Record("v=spf1 -all"),
                         "failed"));
}

TEST_F(DelayTest, ASecondReplyThatComesDuringTheNextQueryIsNotTakenForItsReply) {
  const ScriptedNameServer server("127.0.0.1", {{"A example.org", milliseconds(0), "192.0.2.1"},
                                                {"A example.org", milliseconds(200), "192.0.2.2"},
                                                {"NS example.org", milliseconds(500), "ns.test"},
                                                {"TXT example.org", milliseconds(0), "text"}});
  ToolProcess({"example.org"})
      .ExpectEnd({.standardOutput = "Domain : example.org\n"
                                    "A records : \n\t192.0.2.1\n"
                                    "MX records : \n"
                                    "NS records : \n\tns.test\n"
                                    "TXT records : \n\ttext\n",
                  .standardError = "",
                  .log = ""});
}

TEST_F(DelayTest, InAReportOnlyTheSectionWithoutAReplyIsEmpty) {
  const ScriptedNameServer server("127.0.0.1", {{"A example.org", milliseconds(0), "192.0.2.1"},
                                                {"TXT example.org", milliseconds(0), "text"}});
  ToolProcess({"example.org"})
      .ExpectEnd({.standardOutput = "Domain : example.org\n"
                                    "A records : \n\t192.0.2.1\n"
                                    "MX records : \n"
                                    "NS records : \n" +
                                    kTimedOut + "TXT records : \n\ttext\n",
                  .standardError = "",
                  .log = kTimedOut});
}
