// Tests that take long: many lines, many kills, much memory.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "tests/spf_bulk/BulkRunTest.h"
#include "tests/spf_bulk/KilledRuns.h"
#include "tests/spf_bulk/RandomPolicies.h"

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

// Returns the most memory that a process has had, in KiB; 0 if it has ended.
long ReadPeak(const std::string& process) {
  std::ifstream status("/proc/" + process + "/status");
  std::string word;
  long kilobytes = 0;
  while (status >> word && word != "VmHWM:") {
  }
  status >> kilobytes;
  return kilobytes;
}

// Runs spf-bulk. Returns the most memory that it had, in KiB.
long MeasureMemory(const BulkDirectory& directory, const std::vector<std::string>& arguments) {
  ChildProcess run = directory.Start("echo $$ > pid.new; mv pid.new pid; exec \"$@\"", arguments);
  while (directory.Read("pid").empty()) {
    usleep(1000);
  }
  const std::string process = std::to_string(std::stoi(directory.Read("pid")));
  long peak = 0;
  for (long now = 1; now > 0; now = ReadPeak(process)) {
    peak = std::max(peak, now);
    usleep(1000);
  }
  std::filesystem::remove(directory.Path("pid"));
  EXPECT_GE(run.Wait().exitStatus, 0);
  return peak;
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
