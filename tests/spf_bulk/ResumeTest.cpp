// A run that ended early is resumed: nothing is lost, and nothing is done twice.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/spf_bulk/BulkRunTest.h"
#include "tests/spf_bulk/KilledRuns.h"

namespace {

const std::vector<std::string> kResume = {"--output", "out.csv", "--resume", "in.csv"};

using ResumeTest = BulkRunTest;

TEST(KilledRunsTest, RunsKilledAtRandomMomentsGiveTheResultOfAnUndisturbedRun) {
  TryKilledRuns(20);
}

TEST_F(ResumeTest, LinesThatTheOutputHasAreNotCheckedAgain) {
  m_directory.Write(
      "in.csv", Lines({"pass1.test,192.0.2.1,", "fail2.test,192.0.2.1,", "pass3.test,192.0.2.1,"}));
  m_directory.Write("out.csv", "pass1.test,192.0.2.1,,passed\nfail2.test,192.0.2.1,,err");
  const ChildResult result = m_directory.Run(kResume);
  EXPECT_EQ(m_directory.Read("out.csv"),
            Lines({"pass1.test,192.0.2.1,,passed", "fail2.test,192.0.2.1,,failed",
                   "pass3.test,192.0.2.1,,passed"}));
  ExpectEnd(result, 0, "3 lines: 2 passed, 1 failed, 0 error, 0 malformed");
  EXPECT_EQ(m_server.CountQuestions("pass1.test"), 0U);
  EXPECT_EQ(m_server.CountQuestions("fail2.test"), 1U);
}

TEST_F(ResumeTest, ACompleteRunStaysAsItIs) {
  m_directory.Write("in.csv", Lines({"broken.test,192.0.2.1,", "x"}));
  const ChildResult first = m_directory.Run(kResume);
  const std::string errors = m_directory.Read("spf-bulk.errors");
  const ChildResult second = m_directory.Run(kResume);
  EXPECT_EQ(second.standardError, first.standardError);
  EXPECT_EQ(second.exitStatus, 1);
  EXPECT_EQ(m_directory.Read("out.csv"), "broken.test,192.0.2.1,,error\n");
  EXPECT_EQ(m_directory.Read("spf-bulk.errors"), errors);
  EXPECT_EQ(m_server.CountQuestions("broken.test"), 1U);
}

TEST_F(ResumeTest, AnInputMayHaveGrown) {
  m_directory.Write("in.csv", "pass.test,192.0.2.1,\n");
  m_directory.Run(kResume);
  m_directory.Write("in.csv", Lines({"pass.test,192.0.2.1,", "fail.test,192.0.2.1,"}));
  m_directory.Run(kResume);
  EXPECT_EQ(m_directory.Read("out.csv"),
            Lines({"pass.test,192.0.2.1,,passed", "fail.test,192.0.2.1,,failed"}));
}

TEST_F(ResumeTest, TheInputMayBeStandardInput) {
  m_directory.Write("in", Lines({"pass1.test,192.0.2.1,", "pass2.test,192.0.2.1,"}));
  m_directory.Write("out.csv", "pass1.test,192.0.2.1,,passed\n");
  EXPECT_EQ(m_directory.Run({"--output", "out.csv", "--resume"}).exitStatus, 0);
  EXPECT_EQ(m_directory.Read("out.csv"),
            Lines({"pass1.test,192.0.2.1,,passed", "pass2.test,192.0.2.1,,passed"}));
}

TEST_F(ResumeTest, AnotherInputIsRefusedAndNothingIsChanged) {
  m_directory.Write("in.csv", "pass.test,192.0.2.2,\n");
  m_directory.Write("out.csv", "pass.test,192.0.2.1,,passed\npass");
  m_directory.Write("spf-bulk.errors", "2,not");
  ExpectEnd(m_directory.Run(kResume), 2,
            "line 1 of out.csv is not that of line 1 of the input; nothing was changed");
  EXPECT_EQ(m_directory.Read("out.csv"), "pass.test,192.0.2.1,,passed\npass");
  EXPECT_EQ(m_directory.Read("spf-bulk.errors"), "2,not");
}

}  // namespace
