// A run that was killed is resumed: nothing is lost, nothing is done twice.

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/property/Random.h"
#include "tests/spf_bulk/BulkDirectory.h"
#include "tests/spf_bulk/BulkServer.h"
#include "tests/spf_bulk/KilledRuns.h"

namespace {

const std::vector<std::string> kResume = {"--output", "out.csv", "--resume", "in.csv"};

TEST(ResumeTest, RunsThatAreKilledAtRandomMomentsGiveWhatAnUndisturbedOneGives) {
  TryKilledRuns(20);
}

TEST(ResumeTest, WithNothingToResumeARunBegins) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in.csv", "pass.test,192.0.2.1,\n");
  EXPECT_EQ(directory.Run(kResume).exitStatus, 0);
  EXPECT_EQ(directory.Read("out.csv"), "pass.test,192.0.2.1,,passed\n");
}

TEST(ResumeTest, WhatIsDoneIsNotDoneAgain) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write(
      "in.csv", Lines({"pass1.test,192.0.2.1,", "fail2.test,192.0.2.1,", "pass3.test,192.0.2.1,"}));
  directory.Write("out.csv", "pass1.test,192.0.2.1,,passed\nfail2.test,192.0.2.1,,err");
  const ChildResult result = directory.Run(kResume);
  EXPECT_EQ(directory.Read("out.csv"),
            Lines({"pass1.test,192.0.2.1,,passed", "fail2.test,192.0.2.1,,failed",
                   "pass3.test,192.0.2.1,,passed"}));
  ExpectEnd(result, 0, "3 lines: 2 passed, 1 failed, 0 error, 0 malformed");
  EXPECT_EQ(server.CountQuestions("pass1.test"), 0U);
  EXPECT_EQ(server.CountQuestions("fail2.test"), 1U);
}

TEST(ResumeTest, ARunThatIsCompleteIsLeftAsItIs) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in.csv", Lines({"broken.test,192.0.2.1,", "x"}));
  const ChildResult first = directory.Run(kResume);
  const std::string errors = directory.Read("spf-bulk.errors");
  const ChildResult second = directory.Run(kResume);
  EXPECT_EQ(second.standardError, first.standardError);
  EXPECT_EQ(second.exitStatus, 1);
  EXPECT_EQ(directory.Read("out.csv"), "broken.test,192.0.2.1,,error\n");
  EXPECT_EQ(directory.Read("spf-bulk.errors"), errors);
  EXPECT_EQ(server.CountQuestions("broken.test"), 1U);
}

TEST(ResumeTest, AnInputThatGrewIsGoneOnWith) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in.csv", "pass.test,192.0.2.1,\n");
  directory.Run(kResume);
  directory.Write("in.csv", Lines({"pass.test,192.0.2.1,", "fail.test,192.0.2.1,"}));
  directory.Run(kResume);
  EXPECT_EQ(directory.Read("out.csv"),
            Lines({"pass.test,192.0.2.1,,passed", "fail.test,192.0.2.1,,failed"}));
}

TEST(ResumeTest, StandardInputIsResumedFromAsWell) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in", Lines({"pass1.test,192.0.2.1,", "pass2.test,192.0.2.1,"}));
  directory.Write("out.csv", "pass1.test,192.0.2.1,,passed\n");
  EXPECT_EQ(directory.Run({"--output", "out.csv", "--resume"}).exitStatus, 0);
  EXPECT_EQ(directory.Read("out.csv"),
            Lines({"pass1.test,192.0.2.1,,passed", "pass2.test,192.0.2.1,,passed"}));
}

TEST(ResumeTest, AnotherInputIsRefusedAndNothingIsChanged) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in.csv", "pass.test,192.0.2.2,\n");
  directory.Write("out.csv", "pass.test,192.0.2.1,,passed\npass");
  directory.Write("spf-bulk.errors", "2,not");
  ExpectEnd(directory.Run(kResume), 2,
            "line 1 of out.csv is not that of line 1 of the input; nothing was changed");
  EXPECT_EQ(directory.Read("out.csv"), "pass.test,192.0.2.1,,passed\npass");
  EXPECT_EQ(directory.Read("spf-bulk.errors"), "2,not");
}

}  // namespace
