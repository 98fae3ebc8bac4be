
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

// Replays inputs of the wasteful target in an empty directory.
class ReplayTest : public testing::Test {
 protected:
  ChildResult Replay(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "replay");
    return RunChild(REPLAY_PROGRAM, arguments, m_directory.Path());
  }

  ChildResult ReplayInput(const std::string& content) {
    m_directory.Write("input", content);
    return Replay({"input"});
  }

  void ExpectAborted(const std::string& content, const std::string& text) {
    const ChildResult result = ReplayInput(content);
    EXPECT_EQ(result.signal, SIGABRT) << content;
    EXPECT_EQ(result.standardOutput, "input: ") << content;
    EXPECT_EQ(result.standardError, text) << content;
  }

  void ExpectFailed(const std::vector<std::string>& arguments, const std::string& text) {
    const ChildResult result = Replay(arguments);
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_EQ(result.standardError, text);
  }

  TemporaryDirectory m_directory;
};

}  // namespace

TEST_F(ReplayTest, AnInputThatComputesForTooLongOrForeverEndsIt) {
  const char* const text = "over budget: more than 27000 us of CPU time for an input of 7 bytes\n";
  ExpectAborted("compute", text);
  ExpectAborted("forever", text);
}

TEST_F(ReplayTest, AnInputThatAllocatesTooMuchEndsIt) {
  ExpectAborted("once", "over budget: more than 1400 bytes allocated for an input of 4 bytes\n");
}

TEST_F(ReplayTest, MemoryThatIsFreedCountsToo) {
  ExpectAborted("piecemeal",
                "over budget: more than 1900 bytes allocated for an input of 9 bytes\n");
}

TEST_F(ReplayTest, ALongerInputMayCostMore) {
  EXPECT_EQ(ReplayInput("once" + std::string(40, ' ')).exitStatus, 0);
}

TEST_F(ReplayTest, TheCostOfAnInputIsPrinted) {
  const ChildResult result = ReplayInput("");
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.standardError, "");
  EXPECT_TRUE(result.standardOutput.starts_with("input: 0 bytes, ")) << result.standardOutput;
  EXPECT_TRUE(result.standardOutput.ends_with(" us, 1000 bytes allocated\n"))
      << result.standardOutput;
}

TEST_F(ReplayTest, EveryInputOfAFolderIsRun) {
  std::filesystem::create_directory(m_directory.Path("folder"));
  m_directory.Write("folder/a-first", "");
  m_directory.Write("folder/b-second", "once");
  const ChildResult result = Replay({"folder"});
  EXPECT_EQ(result.signal, SIGABRT);
  EXPECT_TRUE(result.standardOutput.starts_with("a-first: 0 bytes")) << result.standardOutput;
  EXPECT_TRUE(result.standardOutput.ends_with("\nb-second: ")) << result.standardOutput;
}

TEST_F(ReplayTest, AReplayOfNothingFails) {
  std::filesystem::create_directory(m_directory.Path("empty"));
  ExpectFailed({"empty"}, "no input: empty\n");
  ExpectFailed({"absent"}, "no input: absent\n");
  ExpectFailed({}, "");
}

TEST_F(ReplayTest, AnOptionalFolderMayBeMissingOrEmpty) {
  m_directory.Write("input", "");
  std::filesystem::create_directory(m_directory.Path("empty"));
  EXPECT_EQ(Replay({"input", "--optional", "empty", "absent"}).exitStatus, 0);
}

TEST_F(ReplayTest, AnOptionalFolderIsRun) {
  m_directory.Write("input", "");
  std::filesystem::create_directory(m_directory.Path("folder"));
  m_directory.Write("folder/costly", "once");
  EXPECT_EQ(Replay({"input", "--optional", "folder"}).signal, SIGABRT);
}
