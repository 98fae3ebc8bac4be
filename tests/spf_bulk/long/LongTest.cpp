// What takes long: many lines, many kills, much memory.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "tests/spf_bulk/BulkDirectory.h"
#include "tests/spf_bulk/BulkServer.h"
#include "tests/spf_bulk/KilledRuns.h"
#include "tests/spf_bulk/RandomPolicies.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr int kManyLines = 200000;

// Writes the file in.csv of so many lines.
void WriteLines(const BulkDirectory& directory, int lines,
                const std::function<const char*(int)>& kind) {
  std::ofstream file(directory.Path("in.csv"));
  for (int i = 0; i < lines; ++i) {
    file << kind(i) << i << ".test,192.0.2.1,\n";
  }
}

// Returns the largest amount of memory that a process had so far, in KiB; 0 when it has ended.
long ReadPeak(const std::string& process) {
  std::ifstream status("/proc/" + process + "/status");
  std::string word;
  long kilobytes = 0;
  while (status >> word && word != "VmHWM:") {
  }
  status >> kilobytes;
  return kilobytes;
}

// Runs spf-bulk. Returns the largest amount of memory that it had, in KiB.
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

class ManyChecksTest : public testing::TestWithParam<const char*> {};

TEST_P(ManyChecksTest, LinesThatMustPassAllPass) {
  const BulkServer server;
  const BulkDirectory directory;
  WriteLines(directory, kManyLines, [](int) { return "pass"; });
  ChildProcess run = directory.Start("exec \"$@\"", {"-j", GetParam(), "in.csv"});
  const ChildResult result = run.Wait();
  ExpectEnd(result, 0, "200000 lines: 200000 passed, 0 failed, 0 error, 0 malformed");
}

INSTANTIATE_TEST_SUITE_P(Jobs, ManyChecksTest, testing::Values("16", "256", "900"),
                         [](const auto& jobs) { return std::string(jobs.param); });

TEST(LongTest, LinesThatTakeTheWholeLimitHoldUpNoOthers) {
  const BulkServer server;
  const BulkDirectory directory;
  WriteLines(directory, kManyLines,
             [](int i) { return i % (kManyLines / 20) == 5000 ? "silent" : "pass"; });
  const Clock::time_point begin = Clock::now();
  ExpectEnd(directory.Run({"-j", "64", "--time-limit", "5", "in.csv"}), 1,
            "200000 lines: 199980 passed, 0 failed, 20 error, 0 malformed; see spf-bulk.errors");
  EXPECT_LT(Clock::now() - begin, 25s);  // one after another they would take 100 s
}

TEST(LongTest, RunsThatAreKilledAtRandomMomentsGiveWhatAnUndisturbedOneGives) {
  TryKilledRuns(200);
}

TEST(LongTest, RandomLinesGetTheVerdictsOfThePlainTool) {
  CompareWithTool(20000, 40);
}

TEST(LongTest, MemoryDoesNotGrowWithTheNumberOfLines) {
  const BulkServer server;
  const BulkDirectory directory;
  WriteLines(directory, 100000, [](int) { return "pass"; });
  const long few = MeasureMemory(directory, {"--output", "few.csv", "in.csv"});
  WriteLines(directory, 1000000, [](int) { return "pass"; });
  const long many = MeasureMemory(directory, {"--output", "many.csv", "in.csv"});
  EXPECT_LT(few, 16 * 1024);
  EXPECT_LT(many, few + few / 10 + 512);
  std::printf("%ld KiB, %ld KiB\n", few, many);
}

TEST(LongTest, MemoryIsSmallWhileAllThreadsWaitForAnAnswerAndTheWindowIsFull) {
  const BulkServer server;
  const BulkDirectory directory;
  WriteLines(directory, 2000000, [](int i) { return i < 64 ? "silent" : "x,x"; });
  const long most = MeasureMemory(directory, {"--output", "out.csv", "in.csv"});
  EXPECT_LT(most, 64 * 1024);
  std::printf("%ld KiB\n", most);
}

}  // namespace
