// Tests that take long: many lines, many kills, much memory.

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "tests/spf_bulk/BulkRunTest.h"
#include "tests/spf_bulk/KilledRuns.h"
#include "tests/spf_bulk/ToolComparison.h"
#include "tests/support/ProcessStatus.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr int kManyLines = 200000;

// Writes in.csv: for each line, `kind` is the beginning of its domain.
void WriteLines(const BulkDirectory& directory, int lines,
                const std::function<const char*(int)>& kind) {
  std::ofstream file(directory.Path("in.csv"));
  for (int i = 0; i < lines; ++i) {
    file << kind(i) << i << ".test,192.0.2.1,\n";
  }
}

// Runs spf-bulk. Returns the most memory that it had, in KiB.
long MeasureMemory(const BulkDirectory& directory, const std::vector<std::string>& arguments) {
  ChildProcess run = directory.Start("exec \"$@\"", arguments);
  const std::string process = "/proc/" + std::to_string(run.GetId());
  std::string peak;
  for (std::string now = "0"; !now.empty(); now = ReadStatus(process, "VmHWM")) {
    peak = now;
    usleep(1000);
  }
  EXPECT_GE(run.Wait().exitStatus, 0);
  return std::stol(peak);
}

using LongTest = BulkRunTest;

class ManyChecksTest : public BulkRunTest, public testing::WithParamInterface<const char*> {};

TEST_P(ManyChecksTest, LinesThatMustPassAllPass) {
  WriteLines(m_directory, kManyLines, [](int) { return "pass"; });
  ChildProcess run = m_directory.Start("exec \"$@\"", {"-j", GetParam(), "in.csv"});
  const ChildResult result = run.Wait();
  ExpectEnd(result, 0, "200000 lines: 200000 passed, 0 failed, 0 error, 0 malformed");
}

INSTANTIATE_TEST_SUITE_P(Jobs, ManyChecksTest, testing::Values("16", "256", "900"),
                         [](const auto& jobs) { return std::string(jobs.param); });

TEST_F(LongTest, LinesThatTakeTheWholeTimeLimitDoNotDelayOthers) {
  WriteLines(m_directory, kManyLines,
             [](int i) { return i % (kManyLines / 20) == 5000 ? "silent" : "pass"; });
  const Clock::time_point begin = Clock::now();
  ExpectEnd(m_directory.Run({"-j", "64", "--time-limit", "5", "in.csv"}), 1,
            "200000 lines: 199980 passed, 0 failed, 20 error, 0 malformed; see spf-bulk.errors");
  EXPECT_LT(Clock::now() - begin, 25s);  // one after another they would take 100 s
}

TEST(KilledRunsTest, RunsKilledAtRandomMomentsGiveTheResultOfAnUndisturbedRun) {
  TryKilledRuns(200);
}

TEST(EqualityTest, RandomLinesGetTheVerdictsOfThePlainTool) {
  CompareWithTool(20000, 40);
}

TEST_F(LongTest, MemoryDoesNotGrowWithTheNumberOfLines) {
  WriteLines(m_directory, 100000, [](int) { return "pass"; });
  const long few = MeasureMemory(m_directory, {"--output", "few.csv", "in.csv"});
  WriteLines(m_directory, 1000000, [](int) { return "pass"; });
  const long many = MeasureMemory(m_directory, {"--output", "many.csv", "in.csv"});
  EXPECT_LT(few, 16 * 1024);
  EXPECT_LT(many, few + few / 10 + 512);
  std::printf("%ld KiB, %ld KiB\n", few, many);
}

TEST_F(LongTest, MemoryIsSmallWhileAllThreadsWaitAndTheWindowIsFull) {
  WriteLines(m_directory, 2000000, [](int i) { return i < 64 ? "silent" : "x,x"; });
  const long most = MeasureMemory(m_directory, {"--output", "out.csv", "in.csv"});
  EXPECT_LT(most, 64 * 1024);
  std::printf("%ld KiB\n", most);
}

}  // namespace
