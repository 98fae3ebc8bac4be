// A check that lacked an answer is made once more.

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "tests/spf_bulk/BulkDirectory.h"
#include "tests/spf_bulk/BulkServer.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

TEST(RepetitionTest, ALostDatagramIsNoPolicy) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in", Lines({"lost.test,192.0.2.1,", "pass.test,192.0.2.1,"}));
  const ChildResult result = directory.Run({});
  EXPECT_EQ(result.standardOutput,
            Lines({"lost.test,192.0.2.1,,passed", "pass.test,192.0.2.1,,passed"}));
  EXPECT_EQ(directory.Read("spf-bulk.errors"), "");
  ExpectEnd(result, 0, "2 lines: 2 passed, 0 failed, 0 error, 0 malformed");
  EXPECT_EQ(server.CountQuestions("lost.test"), 2U);
  EXPECT_EQ(server.CountQuestions("pass.test"), 1U);
}

struct Lack {
  const char* name;
  std::string domain;
  std::string missing;
};

class LackTest : public testing::TestWithParam<Lack> {};

TEST_P(LackTest, WhatIsStillMissingIsNamedBesideTheVerdictOfTheTool) {
  const BulkServer server;
  const BulkDirectory directory;
  const std::string line = GetParam().domain + ",192.0.2.1,";
  directory.Write("in", line + "\n");
  const ChildResult result = directory.Run({});
  EXPECT_EQ(result.standardOutput, line + ",failed\n");
  EXPECT_EQ(directory.Read("spf-bulk.errors"), "1," + GetParam().missing + "," + line + "\n");
  ExpectEnd(result, 0,
            "1 line: 0 passed, 1 failed, 0 error, 0 malformed; verdicts that lack an answer: 1; "
            "see spf-bulk.errors");
  EXPECT_EQ(server.CountQuestions(GetParam().domain), 2U);
}

INSTANTIATE_TEST_SUITE_P(
    Replies, LackTest,
    testing::Values(Lack{"None", "silent.test", "no answer for TXT silent.test"},
                    Lack{"ErrorCode", "refused.test", "error code 5 for TXT refused.test"},
                    Lack{"Truncated", "cut.test", "truncated answer for TXT cut.test"}),
    NameOfRow<Lack>);

TEST(RepetitionTest, OthersGoOnMeanwhile) {
  const BulkServer server;
  const BulkDirectory directory;
  std::string input = "silent.test,192.0.2.1,\n";
  std::string wanted = "silent.test,192.0.2.1,,failed\n";
  for (int i = 0; i < 1000; ++i) {
    input += "pass.test,192.0.2.1,\n";
    wanted += "pass.test,192.0.2.1,,passed\n";
  }
  directory.Write("in", input);
  const Clock::time_point begin = Clock::now();
  EXPECT_EQ(directory.Run({"-j", "2"}).standardOutput, wanted);
  EXPECT_EQ(server.CountQuestions("pass.test"), 1000U);
  EXPECT_LT(server.GetTimes()[990] - begin, 4s);  // long before the first line is done
}

TEST(RepetitionTest, RepetitionsDoNotBeginAllAtOnce) {
  const BulkServer server;
  const BulkDirectory directory;
  std::string input;
  for (int i = 0; i < 400; ++i) {
    input += "refused.test,192.0.2.1,\n";
  }
  directory.Write("in", input);
  EXPECT_EQ(directory.Run({"-j", "400"}).exitStatus, 0);
  const std::vector<Clock::time_point> times = server.GetTimes();
  ASSERT_EQ(times.size(), 800U);
  EXPECT_GE(times.back() - times.front(), 399 * 250us);
}

TEST(RepetitionTest, ALimitOfTheTimeEndsACheckForGood) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in", Lines({"silent.test,192.0.2.1,", "pass.test,192.0.2.1,"}));
  const Clock::time_point begin = Clock::now();
  const ChildResult result = directory.Run({"--time-limit", "0.5"});
  EXPECT_LT(Clock::now() - begin, 2s);
  EXPECT_EQ(result.standardOutput,
            Lines({"silent.test,192.0.2.1,,error", "pass.test,192.0.2.1,,passed"}));
  EXPECT_EQ(directory.Read("spf-bulk.errors"),
            "1,time limit reached; no answer for TXT silent.test,silent.test,192.0.2.1,\n");
  EXPECT_EQ(server.CountQuestions("silent.test"), 1U);
}

}  // namespace
