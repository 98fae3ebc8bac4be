#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "tests/logging/LogLines.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/OwnMount.h"

namespace {

// Runs a program that ends while it logs, many times.
class LogExitTest : public testing::Test {
 protected:
  static constexpr int kRuns = 50;

  static Lines Run(const std::string& state) {
    const TemporaryDirectory directory;
    const ChildResult result = RunChild(LOG_EXIT_PROGRAM, {"log_exit", state}, directory.Path());
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_EQ(result.standardError, "");
    return LinesOf(directory.Read("current.log"));
  }

  // The log holds the thread's start and end, and between them the first lines of the program.
  static void ExpectLog(const Lines& lines, std::size_t most) {
    ASSERT_GE(lines.size(), 2U);
    ASSERT_LE(lines.size(), most + 2);
    EXPECT_EQ(lines, Lines{kStart} + Numbered("Info: line ", static_cast<int>(lines.size() - 2)) +
                         Lines{kEnd});
  }
};

}  // namespace

TEST_F(LogExitTest, AProgramMayReturnFromMainWhileTheThreadRuns) {
  for (int run = 0; run < kRuns && !HasFailure(); ++run) {
    ExpectLog(Run("running"), 3);
  }
}

TEST_F(LogExitTest, AProgramMayReturnFromMainRightAfterStopAsync) {
  for (int run = 0; run < kRuns && !HasFailure(); ++run) {
    Lines lines = Run("stopped");
    const auto last = std::find(lines.begin(), lines.end(), "Info: stopped");
    ASSERT_NE(last, lines.end());
    lines.erase(last);
    ExpectLog(lines, 3);
  }
}

TEST_F(LogExitTest, AProgramMayReturnFromMainWhileLinesAreQueued) {
  std::size_t lost = 0;
  for (int run = 0; run < kRuns && !HasFailure(); ++run) {
    const Lines lines = Run("busy");
    ExpectLog(lines, 2000);
    lost += 2002 - lines.size();
  }
  EXPECT_GT(lost, 0U);  // lines were still queued
}

TEST_F(LogExitTest, AProgramMayReturnFromMainWhileTheThreadUsesTheSystemLog) {
  const OwnMount devices("/dev");
  for (int run = 0; run < kRuns && !HasFailure(); ++run) {
    std::ofstream("/dev/console").close();  // each line replaces the one before
    EXPECT_EQ(Run("syslog-long-name"), Lines());
    std::string line;
    std::getline(std::ifstream("/dev/console"), line);
    EXPECT_EQ(line.substr(0, 101), std::string(100, 'x') + "[");
  }
}
