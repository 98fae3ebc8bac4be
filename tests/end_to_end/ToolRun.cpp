#include "tests/end_to_end/ToolRun.h"

#include <gtest/gtest.h>

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

void ExpectRun(const std::vector<std::string>& arguments, const Expected& expected) {
  const TemporaryDirectory directory;
  std::vector<std::string> words = {"spfcheck"};
  words.insert(words.end(), arguments.begin(), arguments.end());
  const ChildResult run = RunChild(SPFCHECK_PROGRAM, words, directory.Path());
  EXPECT_EQ(run.standardOutput, expected.standardOutput);
  EXPECT_EQ(run.standardError, expected.standardError);
  EXPECT_EQ(directory.Read("log.txtcurrent.log"), expected.log);
  EXPECT_EQ(run.signal != 0 ? 128 + run.signal : run.exitStatus, expected.status);
}
