// A checkout's scripts on a machine of commands that note their calls and do the least that the
// scripts need.

#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Text.h"

class FakeMachine : public testing::Test {
 protected:
  // Lacks nothing. The tool prints "verdict" and ends with status 7, ctest with 8.
  FakeMachine();

  // Adds commands of this machine.
  void Link(const std::string& commands) const;

  // Makes a command of a body in bash, in place of what is there.
  void MakeCommand(const std::string& path, const std::string& body) const;

  // Makes one whose calls are noted, too.
  void MakeNotedCommand(const std::string& path, const std::string& body) const;

  // Takes commands away, which apt-get brings back.
  void TakeAway(const std::string& commands) const;

  // Runs a command line with the commands of this machine alone, and `environment` (NAME=VALUE...).
  ChildResult Run(const std::string& line, const std::string& environment = "") const;

  // Does something to the machine from outside.
  std::string Do(const std::string& script) const;

  // Returns the calls since the last time.
  std::vector<std::string> TakeCalls() const;

  TemporaryDirectory m_directory;
};

extern const std::string kAptGet;  // how apt-get is called

std::string Install(const std::string& packages);

// Returns the call that configures a preset, with the tests (ON) or without (OFF).
std::string Configure(const std::string& preset, const std::string& tests,
                      const std::string& option = "");
