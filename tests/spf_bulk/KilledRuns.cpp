#include "tests/spf_bulk/KilledRuns.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "tests/property/Random.h"
#include "tests/spf_bulk/BulkDirectory.h"
#include "tests/spf_bulk/BulkServer.h"

namespace {

constexpr int kLines = 20000;
constexpr int kKillsOfARun = 5;
constexpr int kLongestRunUs = 400000;

std::string MakeInput(Random& random) {
  std::string input = "domain,ip,sender\n";
  for (int i = 0; i < kLines; ++i) {
    const std::string number = std::to_string(i);
    if (random.OneIn(10)) {
      input += "malformed" + number + (random.OneIn(2) ? "\r\n" : "\n");
    } else if (random.OneIn(1000)) {
      input += "refused" + number + ".test,192.0.2.1,\n";
    } else {
      input += std::string(random.OneIn(2) ? "pass" : random.OneIn(20) ? "broken" : "fail");
      input += number + ".test,192.0.2.1,\n";
    }
  }
  return input;
}

std::vector<std::string> ArgumentsFor(const std::string& name) {
  return {"--output", name + ".csv", "--errors", name + ".errors", "--resume", "in.csv"};
}

// Returns the size of a run's output; 0 if there is none.
std::uintmax_t OutputSize(const BulkDirectory& directory, const std::string& name) {
  std::error_code thereIsNone;
  const std::uintmax_t size =
      std::filesystem::file_size(directory.Path(name + ".csv"), thereIsNone);
  return thereIsNone ? 0 : size;
}

// Kills a run after a while. Returns whether it was still running.
bool KillARun(const BulkDirectory& directory, Random& random) {
  ChildProcess run = directory.Start("exec \"$@\"", ArgumentsFor("killed"));
  usleep(random.Between(0U, static_cast<unsigned>(kLongestRunUs)));
  run.Signal(SIGKILL);
  return run.Wait().signal == SIGKILL;
}

}  // namespace

void TryKilledRuns(int kills) {
  const BulkServer server;
  const BulkDirectory directory;
  Random random;
  directory.Write("in.csv", MakeInput(random));
  EXPECT_EQ(directory.Run(ArgumentsFor("calm")).exitStatus, 1);
  int killed = 0;
  for (int i = 0; i < 100 * kills && killed < kills; ++i) {
    if (KillARun(directory, random)) {
      ++killed;
    }
    if (killed % kKillsOfARun == 0 ||
        OutputSize(directory, "killed") == OutputSize(directory, "calm")) {
      EXPECT_EQ(directory.Run(ArgumentsFor("killed")).exitStatus, 1);
      EXPECT_TRUE(directory.Read("killed.csv") == directory.Read("calm.csv"));
      EXPECT_TRUE(directory.Read("killed.errors") == directory.Read("calm.errors"));
      std::filesystem::remove(directory.Path("killed.csv"));
    }
  }
  EXPECT_EQ(killed, kills);
}
