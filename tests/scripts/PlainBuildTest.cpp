// A fresh clone built by CMake alone, without the scripts, GoogleTest and the name servers. Objects
// of this build are copied instead of compiled.

#include <gtest/gtest.h>

#include <string>

#include "tests/support/Shell.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

constexpr char kLeftOut[] = "GoogleTest is missing (Debian's libgtest-dev): the tests are left out";

class PlainBuildTest : public testing::Test {
 protected:
  PlainBuildTest() {
    NeedPrograms({"g++", "make", "ninja"});
    Do("(cd " PROJECT_ROOT
       " && tar -c --exclude=./build --exclude=./.git .) | tar -x; mkdir machine; "
       "for command in ar as bash c++ cmake cp ctest env ld make ninja; do "
       "ln -s $(command -v $command) machine; done");
    m_directory.Write("machine/compile", R"(#!/bin/bash
      while [ "$1" != -o ]; do command+=("$1"); shift; done
      object=)" BUILD_DIRECTORY R"(${PWD#)" + m_directory.Path("build") +
                                             R"(}/$2
      if [ -e "$object" ]; then exec cp "$object" "$2"; fi
      exec "${command[@]}" "$@"
    )");
    Do("chmod +x machine/compile");
    m_directory.Write("machine/toolchain.cmake",
                      "set(CMAKE_CXX_COMPILER_LAUNCHER \"" + m_directory.Path("machine/compile") +
                          "\")\nset(CMAKE_DISABLE_FIND_PACKAGE_GTest ON)\n");
  }

  std::string Do(const std::string& script) const {
    return OutputOf(script, m_directory.Path(), 280);
  }

  ChildResult Run(const std::string& command) const {
    return RunShell(
        "exec env -i PATH=$PWD/machine CMAKE_TOOLCHAIN_FILE=$PWD/machine/toolchain.cmake " +
            command,
        m_directory.Path(), 280);
  }

  // Expects a build without the tests, which says so in one line.
  void ExpectLeftOut(const std::string& command) const {
    const ChildResult result = Run(command);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.standardError, "");
    EXPECT_NE(result.standardOutput.find(std::string("-- ") + kLeftOut + "\n"), std::string::npos);
  }

  // Expects `directory` to have the database of compilations of `build`.
  void ExpectDatabase(const std::string& build, const std::string& directory) const {
    EXPECT_NE(m_directory.Read(directory + "/compile_commands.json")
                  .find("\"directory\": \"" + m_directory.Path(build) + "/tool\","),
              std::string::npos)
        << directory;
  }

  TemporaryDirectory m_directory;
};

}  // namespace

TEST_F(PlainBuildTest, TheCommandsOfTheDocumentsBuildTheTool) {
  const std::string lines = Do("grep -A 1 '^cmake -S' README.md");
  EXPECT_EQ(Do("grep -A 1 '^cmake -S' CONTRIBUTING.md"), lines);
  ExpectLeftOut("bash -e -c " + Quoted(lines));
  EXPECT_EQ(Do("build/bin/spfcheck example.org 192.0.2.7 '' v=spf1' 'ip4:192.0.2.7 | tail -n 1"),
            "SPFCheck::passed \n");
  EXPECT_EQ(Run("ctest --test-dir build").exitStatus, 0);
}

TEST_F(PlainBuildTest, APresetIsConfiguredForMakeAndForNinja) {
  ExpectLeftOut("cmake --preset release");
  ExpectLeftOut("cmake --preset debug -G Ninja");
}

TEST_F(PlainBuildTest, WhereAllIsRequiredGoogleTestIsToo) {
  const ChildResult result = Run("cmake --preset release -DSPFCHECK_REQUIRE_ALL=ON");
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_NE(result.standardError.find(kLeftOut), std::string::npos);
}

// clangd looks in the folder build beside or above a source.
TEST_F(PlainBuildTest, ClangdGetsTheDatabaseOfThePlainBuildOrElseOfTheLastPreset) {
  Run("cmake --preset release");
  ExpectDatabase("build/release", "build");
  Run("cmake --preset debug");
  ExpectDatabase("build/debug", "build");
  Run("cmake -S . -B build");
  ExpectDatabase("build", "build");
  ExpectDatabase("build/debug", "build/debug");
  Run("cmake --preset release");
  ExpectDatabase("build", "build");
}

TEST(ReadmeTest, EachOptionOfTheBuildIsInTheReadme) {
  const auto ask = [](const std::string& script) { return OutputOf(script, PROJECT_ROOT); };
  EXPECT_EQ(
      ask("sed -n 's/^| `\\([A-Z_]*\\)` .*/\\1/p' README.md | grep -v '^CMAKE_' | sort"),
      ask("sed -nE 's/^ *option\\(([A-Z_]*) .*/\\1/p; s/^ *set\\(([A-Z_]*) \"\" CACHE .*/\\1/p' "
          "CMakeLists.txt | sort"));
}
