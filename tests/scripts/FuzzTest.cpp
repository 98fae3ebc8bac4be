// What scripts/fuzz prints about the fuzzers that it builds and runs, and how it ends.

#include "tests/scripts/FakeMachine.h"
#include "tests/support/Shell.h"

namespace {

using Calls = std::vector<std::string>;

// Has two targets, whose fuzzers find nothing.
class FuzzTest : public FakeMachine {
 protected:
  FuzzTest() {
    Link("awk cut paste xargs");
    MakeCommand("bin/clang++", "echo 14.0.6");
    Do("mkdir fuzz");
    m_directory.Write("fuzz/targets.txt", "# The targets\nreply_walk 1100\nstrings 1024\n");
    for (const std::string target : {"strings", "reply_walk"}) {
      MakeFuzzer(target, "echo noise; echo 'stat::number_of_executed_units: 1234'");
    }
  }

  void MakeFuzzer(const std::string& target, const std::string& body) const {
    MakeNotedCommand("build/fuzz/bin/fuzz_" + target,
                     "printf '%s\\n' \"$@\" > $machine/arguments; " + body);
  }

  // Lets a fuzzer find an input, which it writes where its arguments say.
  void LetFind(const std::string& target) const {
    MakeFuzzer(target, R"(found=$(sed -n 's/^-artifact_prefix=//p' $machine/arguments)crash-0a1b
      echo "artifact_prefix='x'; Test unit written to $found" >&2
      echo broken > "$found"
      echo 'stat::number_of_executed_units: 56'
      exit 77)");
  }

  // Expects what `line` prints and how it ends.
  void Expect(int status, const std::string& printed, const std::string& line) const {
    const ChildResult result = Run(line);
    EXPECT_EQ(result.exitStatus, status) << line << "\n" << result.standardError;
    EXPECT_EQ(result.standardOutput, printed) << line;
  }
};

}  // namespace

TEST_F(FuzzTest, NothingFoundIsOneLineAndStatusZero) {
  Expect(0, "strings: 1234 runs, nothing found\n", "scripts/fuzz strings 5");
}

TEST_F(FuzzTest, AFoundInputIsPrintedWithTheCommandThatKeepsIt) {
  LetFind("strings");
  const std::string found = "build/fuzz/findings/strings/crash-0a1b";
  const std::string keep =
      "mkdir -p fuzz/regressions/strings && mv " + found + " fuzz/regressions/strings/NAME";
  Expect(1,
         Lines({"strings: 56 runs, FOUND " + found, "  what it breaks: build/fuzz/logs/strings.log",
                "  to keep it, under a name that says what it shows:", "    " + keep}),
         "scripts/fuzz strings 5");
  Do(keep);
  EXPECT_EQ(m_directory.Read("fuzz/regressions/strings/NAME"), "broken\n");
}

TEST_F(FuzzTest, AFuzzerThatASignalEndsFails) {
  MakeFuzzer("strings", "echo 'last words'; echo 'and more' >&2; kill -KILL $$");
  Expect(1, "strings: FAILED with status 137, see build/fuzz/logs/strings.log\n",
         "scripts/fuzz strings 5");
  EXPECT_EQ(m_directory.Read("build/fuzz/logs/strings.log"), "last words\nand more\n");
}

TEST_F(FuzzTest, AFuzzerGetsItsTimeItsLimitsAndAllInputs) {
  Run("scripts/fuzz strings 5");
  Do("for argument in -max_total_time=5 -max_len=1024 -dict=fuzz/dictionaries/strings.dict; do "
     "grep -x -e $argument arguments; done");
  const std::string folders = "grep -v '^-' arguments";
  EXPECT_EQ(Do(folders), "build/fuzz/corpus/strings\nfuzz/corpus/strings\n");
  Do("mkdir -p fuzz/regressions/strings");
  Run("scripts/fuzz strings 5");
  EXPECT_EQ(Do(folders),
            "build/fuzz/corpus/strings\nfuzz/corpus/strings\nfuzz/regressions/strings\n");
}

TEST_F(FuzzTest, WithoutArgumentsTheTargetsAreListed) {
  Expect(0, "reply_walk\nstrings\n", "scripts/fuzz");
  EXPECT_EQ(TakeCalls(), Calls{});
}

TEST_F(FuzzTest, WrongArgumentsPrintTheUsage) {
  for (const std::string arguments : {"string 5", "'' 5", "'#' 5", "strings", "strings 0",
                                      "strings 5s", "all -5", "strings 5 5"}) {
    const ChildResult result = Run("scripts/fuzz " + arguments);
    EXPECT_EQ(result.exitStatus, 2) << arguments;
    EXPECT_EQ(result.standardError,
              "fuzz: usage: scripts/fuzz [TARGET|all SECONDS]; targets: reply_walk strings\n");
    EXPECT_EQ(TakeCalls(), Calls{});
  }
}

TEST_F(FuzzTest, AllRunsEachTargetAndFailsWhenOneFoundSomething) {
  MakeCommand("bin/nproc", "echo 1");
  Expect(0, "reply_walk: 1234 runs, nothing found\nstrings: 1234 runs, nothing found\n",
         "scripts/fuzz all 5");
  LetFind("reply_walk");
  const ChildResult result = Run("scripts/fuzz all 5");
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.standardOutput.find("reply_walk: 56 runs, FOUND "), 0U);
  EXPECT_EQ(LastLine(result.standardOutput), "strings: 1234 runs, nothing found\n");
}

TEST_F(FuzzTest, TheFuzzersAreBuiltFirst) {
  Run("scripts/fuzz strings 5");
  const Calls calls = TakeCalls();
  ASSERT_EQ(calls.size(), 3U);
  EXPECT_EQ(calls[0], Configure("fuzz", "OFF"));
  EXPECT_EQ(calls[1], "cmake --build build/fuzz --target fuzzers -- --quiet");
  EXPECT_EQ(calls[2].find("fuzz_strings "), 0U);
}

TEST_F(FuzzTest, TheLibraryOfTheInstalledClangIsInstalled) {
  MakeCommand("bin/dpkg-query", "echo not-installed");
  Do("touch store/library");
  Run("scripts/fuzz strings 5");
  EXPECT_EQ(TakeCalls().at(1), Install("libclang-rt-14-dev"));
}
