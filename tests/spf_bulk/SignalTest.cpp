// A signal stops a run, of which nothing is lost.

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <string>

#include "tests/spf_bulk/BulkDirectory.h"
#include "tests/spf_bulk/BulkServer.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

class SignalTest : public testing::TestWithParam<int> {};

TEST_P(SignalTest, EndsTheRunWithinASecondAndWhatIsCompleteIsWritten) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in.csv", Lines({"pass.test,192.0.2.1,", "x", "fail.test,192.0.2.1,",
                                   "silent.test,192.0.2.1,", "pass.test,192.0.2.2,"}));
  ChildProcess run = directory.Start("exec \"$@\"", {"--output", "out.csv", "in.csv"});
  WaitForQuestion(server, "silent.test");
  usleep(300000);  // so that the others are done
  const Clock::time_point begin = Clock::now();
  run.Signal(GetParam());
  const ChildResult result = run.Wait();
  EXPECT_LT(Clock::now() - begin, 1s);
  EXPECT_EQ(result.signal, GetParam());
  EXPECT_EQ(result.standardError, "spf-bulk: ended by a signal; go on with --resume\n");
  EXPECT_EQ(directory.Read("out.csv"),
            "pass.test,192.0.2.1,,passed\nfail.test,192.0.2.1,,failed\n");
  EXPECT_EQ(directory.Read("spf-bulk.errors"), "2,not three fields,x\n");
}

INSTANTIATE_TEST_SUITE_P(Signals, SignalTest, testing::Values(SIGINT, SIGTERM));

TEST(SignalTest, ARunThatNobodyReadsFromEndsAsWell) {
  const BulkServer server;
  const BulkDirectory directory;
  std::string input;
  for (int i = 0; i < 10000; ++i) {
    input += "pass.test,192.0.2.1,\n";
  }
  directory.Write("in.csv", input);
  ChildProcess run = directory.Start(
      "mkfifo pipe; sleep 20 < pipe & { echo $! > sleeper; exec \"$@\" > pipe; }", {"in.csv"});
  WaitForQuestion(server, "pass.test");
  usleep(500000);  // the pipe is full
  const Clock::time_point begin = Clock::now();
  run.Signal(SIGTERM);
  EXPECT_EQ(run.Wait().signal, SIGTERM);
  EXPECT_LT(Clock::now() - begin, 1s);
  kill(std::stoi(directory.Read("sleeper")), SIGKILL);
}

TEST(SignalTest, ARunThatWaitsForItsInputEndsAsWell) {
  const BulkServer server;
  const BulkDirectory directory;
  ChildProcess run = directory.Start(
      "mkfifo pipe; sleep 20 > pipe & { echo $! > sleeper; exec \"$@\" < pipe; }", {});
  usleep(300000);
  run.Signal(SIGINT);
  EXPECT_EQ(run.Wait().signal, SIGINT);
  kill(std::stoi(directory.Read("sleeper")), SIGKILL);
}

TEST(SignalTest, ASignalThatWasIgnoredStaysSo) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in.csv", "silent.test,192.0.2.1,\n");
  ChildProcess run = directory.Start("trap '' INT; exec \"$@\"", {"--time-limit", "1", "in.csv"});
  WaitForQuestion(server, "silent.test");
  run.Signal(SIGINT);
  const ChildResult result = run.Wait();
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.standardOutput, "silent.test,192.0.2.1,,error\n");
}

}  // namespace
