// Replies that are slow or never come.

#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "tests/faults/KnownRun.h"
#include "tests/faults/ToolProcess.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/ScriptedNameServer.h"

namespace {

using std::chrono::milliseconds;

// Returns what an include of `domain` logs before its look-up.
std::string Include(const std::string& domain) {
  return "Debug: SPFCheck::processINCLUDE - domain::" + domain + "\n" + Begin(domain);
}

class DelayTest : public testing::Test {
 protected:
  DelayTest() { SetResolverFile("nameserver 127.0.0.1\n"); }
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

TEST_F(DelayTest, EachQueryOfAChainHasFiveSecondsOfItsOwn) {
  const std::string first = "v=spf1 include:second.test -all";
  const ScriptedNameServer server("127.0.0.1", {{"TXT first.test", milliseconds(3000), first},
                                                {"TXT second.test", milliseconds(3000), kRecord}});
  ToolProcess({"first.test", "192.0.2.7"})
      .ExpectEnd(Verdict(
          Begin("first.test") + Record(first) + Include("second.test") + Record(kRecord) + kMatch,
          "passed"));
}

TEST_F(DelayTest, QueriesWithoutAReplyCostFiveSecondsEachAndTheNextIncludeStillPasses) {
  const std::string record = "v=spf1 include:silent.test a:mute.test include:good.test -all";
  const ScriptedNameServer server("127.0.0.1", {{"TXT good.test", milliseconds(0), kRecord}});
  const auto start = std::chrono::steady_clock::now();
  ToolProcess({"example.org", "192.0.2.7", "", record})
      .ExpectEnd(Verdict(kBegin + Record(record) + Include("silent.test") + kTimedOut + Record("") +
                             "Debug: SPFCheck::processA - domain::mute.test\n" + kTimedOut +
                             Include("good.test") + Record(kRecord) + kMatch,
                         "passed"));
  const auto elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_GE(elapsed, milliseconds(9900));
  EXPECT_LT(elapsed, milliseconds(14000));
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
