// What scripts/lint prints about the findings of its tools, and how it ends.

#include "tests/scripts/FakeMachine.h"

namespace {

// Has a checkout in which nothing is found.
class LintTest : public FakeMachine {
 protected:
  LintTest() {
    Link("awk find xargs");
    Do("mkdir -p .ci framework tool programs examples tests fuzz bench; "
       "touch framework/Class.h framework/Class.cpp tool/main.cpp tests/ClassTest.cpp");
    for (const std::string tool : {"clang-format", "clang-tidy", "cppcheck", "shellcheck"}) {
      LetFind(tool, 0, "");
    }
    LetFind("clang-tidy", 0, "2134 warnings generated.\\n1 warning generated.\\n");
  }

  // Lets a tool print `text` on standard error and end with `status`.
  void LetFind(const std::string& tool, int status, const std::string& text) const {
    MakeNotedCommand("bin/" + tool, "printf '" + text + "' >&2; exit " + std::to_string(status));
  }
};

}  // namespace

TEST_F(LintTest, WithoutFindingsItSaysThatAllIsWellAndHidesCountsOfWarnings) {
  const ChildResult result = Run("scripts/lint");
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.standardOutput, "all is well\n");
  EXPECT_EQ(result.standardError.find("generated"), std::string::npos);
}

TEST_F(LintTest, AFindingIsPrintedAndFails) {
  for (const std::string tool : {"clang-format", "clang-tidy", "cppcheck", "shellcheck"}) {
    LetFind(tool, 1, "12 warnings generated.\\nfault\\n");
    const ChildResult result = Run("scripts/lint");
    EXPECT_NE(result.exitStatus, 0) << tool;
    const std::string all = result.standardOutput + result.standardError;
    EXPECT_NE(all.find("fault\n"), std::string::npos) << tool;
    EXPECT_EQ(all.find("all is well"), std::string::npos) << tool;
    LetFind(tool, 0, "");
  }
}

TEST_F(LintTest, EachShellScriptIsChecked) {
  Do("mkdir examples/some; echo '#!/usr/bin/env bash' > .ci/run; echo '#!/bin/sh' > "
     "examples/some/script; "
     "printf '%s\\n' text '#!/bin/sh' > tests/text; rm scripts/[a-km-z]*; cp " PROJECT_ROOT
     "/scripts/setup scripts");
  MakeCommand("bin/shellcheck", "printf '%s\\n' \"${@:2}\" > $machine/checked");
  Run("scripts/lint");
  EXPECT_EQ(Do("sort checked"), ".ci/run\nexamples/some/script\nscripts/lint\n");
}
