// The repetition of a check that lacked an answer.

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "tests/spf_bulk/BulkRunTest.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

using RepetitionTest = BulkRunTest;

TEST_F(RepetitionTest, ALostDatagramDoesNotChangeTheVerdict) {
  m_directory.Write("in", Lines({"lost.test,192.0.2.1,", "pass.test,192.0.2.1,"}));
  const ChildResult result = m_directory.Run({});
  EXPECT_EQ(result.standardOutput,
            Lines({"lost.test,192.0.2.1,,passed", "pass.test,192.0.2.1,,passed"}));
  EXPECT_EQ(m_directory.Read("spf-bulk.errors"), "");
  ExpectEnd(result, 0, "2 lines: 2 passed, 0 failed, 0 error, 0 malformed");
  EXPECT_EQ(m_server.CountQuestions("lost.test"), 2U);
  EXPECT_EQ(m_server.CountQuestions("pass.test"), 1U);
}

struct Lack {
  const char* name;
  std::string domain;
  std::string missing;
};

class LackTest : public BulkRunTest, public testing::WithParamInterface<Lack> {};

TEST_P(LackTest, AnAnswerThatIsStillMissingIsNamedInTheErrorsFile) {
  const std::string line = GetParam().domain + ",192.0.2.1,";
  m_directory.Write("in", line + "\n");
  const ChildResult result = m_directory.Run({});
  EXPECT_EQ(result.standardOutput, line + ",failed\n");
  EXPECT_EQ(m_directory.Read("spf-bulk.errors"), "1," + GetParam().missing + "," + line + "\n");
  ExpectEnd(result, 0,
            "1 line: 0 passed, 1 failed, 0 error, 0 malformed; verdicts that lack an answer: 1; "
            "see spf-bulk.errors");
  EXPECT_EQ(m_server.CountQuestions(GetParam().domain), 2U);
}

INSTANTIATE_TEST_SUITE_P(
    Replies, LackTest,
    testing::Values(Lack{"None", "silent.test", "no answer for TXT silent.test"},
                    Lack{"ErrorCode", "refused.test", "error code 5 for TXT refused.test"},
                    Lack{"Truncated", "cut.test", "truncated answer for TXT cut.test"}),
    NameOfRow<Lack>);

TEST_F(RepetitionTest, OtherChecksContinueMeanwhile) {
  m_directory.Write("in", "silent.test,192.0.2.1,\n" + Repeat("pass.test,192.0.2.1,\n", 1000));
  const Clock::time_point begin = Clock::now();
  EXPECT_EQ(m_directory.Run({"-j", "2"}).standardOutput,
            "silent.test,192.0.2.1,,failed\n" + Repeat("pass.test,192.0.2.1,,passed\n", 1000));
  EXPECT_EQ(m_server.CountQuestions("pass.test"), 1000U);
  EXPECT_LT(m_server.GetTimes()[990] - begin, 4s);  // long before the first line is done
}

TEST_F(RepetitionTest, RepetitionsDoNotBeginAllAtOnce) {
  m_directory.Write("in", Repeat("refused.test,192.0.2.1,\n", 400));
  EXPECT_EQ(m_directory.Run({"-j", "400"}).exitStatus, 0);
  const std::vector<Clock::time_point> times = m_server.GetTimes();
  ASSERT_EQ(times.size(), 800U);
  EXPECT_GE(times.back() - times.front(), 399 * 250us);
}

TEST_F(RepetitionTest, ACheckThatReachesItsTimeLimitIsNotRepeated) {
  m_directory.Write("in", Lines({"silent.test,192.0.2.1,", "pass.test,192.0.2.1,"}));
  const Clock::time_point begin = Clock::now();
  const ChildResult result = m_directory.Run({"--time-limit", "0.5"});
  EXPECT_LT(Clock::now() - begin, 2s);
  EXPECT_EQ(result.standardOutput,
            Lines({"silent.test,192.0.2.1,,error", "pass.test,192.0.2.1,,passed"}));
  EXPECT_EQ(m_directory.Read("spf-bulk.errors"),
            "1,time limit reached; no answer for TXT silent.test,silent.test,192.0.2.1,\n");
  EXPECT_EQ(m_server.CountQuestions("silent.test"), 1U);
}

}  // namespace
