// A signal ends a run, and nothing is lost.

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <string>

#include "tests/spf_bulk/BulkRunTest.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

using SignalTest = BulkRunTest;

class EndSignalTest : public BulkRunTest, public testing::WithParamInterface<int> {};

TEST_P(EndSignalTest, EndsTheRunWithinASecondAfterCompleteLinesAreWritten) {
  m_directory.Write("in.csv", Lines({"pass.test,192.0.2.1,", "x", "fail.test,192.0.2.1,",
                                     "silent.test,192.0.2.1,", "pass.test,192.0.2.2,"}));
  ChildProcess run = m_directory.Start("exec \"$@\"", {"--output", "out.csv", "in.csv"});
  WaitForQuestion("silent.test");
  usleep(300000);  // so that the others are done
  const Clock::time_point begin = Clock::now();
  run.Signal(GetParam());
  const ChildResult result = run.Wait();
  EXPECT_LT(Clock::now() - begin, 1s);
  EXPECT_EQ(result.signal, GetParam());
  EXPECT_EQ(result.standardError, "spf-bulk: ended by a signal; go on with --resume\n");
  EXPECT_EQ(m_directory.Read("out.csv"),
            "pass.test,192.0.2.1,,passed\nfail.test,192.0.2.1,,failed\n");
  EXPECT_EQ(m_directory.Read("spf-bulk.errors"), "2,not three fields,x\n");
}

INSTANTIATE_TEST_SUITE_P(Signals, EndSignalTest, testing::Values(SIGINT, SIGTERM));

TEST_F(SignalTest, EndsARunWhoseOutputNobodyReads) {
  m_directory.Write("in.csv", Repeat("pass.test,192.0.2.1,\n", 10000));
  ChildProcess run = m_directory.Start(
      "mkfifo pipe; sleep 20 < pipe & { echo $! > sleeper; exec \"$@\" > pipe; }", {"in.csv"});
  WaitForQuestion("pass.test");
  usleep(500000);  // the pipe is full
  const Clock::time_point begin = Clock::now();
  run.Signal(SIGTERM);
  EXPECT_EQ(run.Wait().signal, SIGTERM);
  EXPECT_LT(Clock::now() - begin, 1s);
  kill(std::stoi(m_directory.Read("sleeper")), SIGKILL);
}

TEST_F(SignalTest, EndsARunThatWaitsForItsInput) {
  ChildProcess run = m_directory.Start(
      "mkfifo pipe; sleep 20 > pipe & { echo $! > sleeper; exec \"$@\" < pipe; }", {});
  usleep(300000);
  run.Signal(SIGINT);
  EXPECT_EQ(run.Wait().signal, SIGINT);
  kill(std::stoi(m_directory.Read("sleeper")), SIGKILL);
}

TEST_F(SignalTest, IsIgnoredIfItWasBefore) {
  m_directory.Write("in.csv", "silent.test,192.0.2.1,\n");
  ChildProcess run = m_directory.Start("trap '' INT; exec \"$@\"", {"--time-limit", "1", "in.csv"});
  WaitForQuestion("silent.test");
  run.Signal(SIGINT);
  const ChildResult result = run.Wait();
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.standardOutput, "silent.test,192.0.2.1,,error\n");
}

}  // namespace
