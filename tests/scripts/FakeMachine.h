// The scripts on a machine whose commands note their calls and do only what the scripts need.

#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Text.h"

class FakeMachine : public testing::Test {
 protected:
  // Has all that the scripts need. The tool prints "verdict" and ends with status 7, ctest with 8.
  FakeMachine();

  // Adds commands of this machine.
  void Link(const std::string& commands) const;

  // Makes or replaces a command; `body` is in bash.
  void MakeCommand(const std::string& path, const std::string& body) const;

  // The same, with its calls noted.
  void MakeNotedCommand(const std::string& path, const std::string& body) const;

  // Takes commands away until apt-get installs something.
  void TakeAway(const std::string& commands) const;

  // Runs `line` with only the commands of this machine, and with `environment` (NAME=VALUE...).
  ChildResult Run(const std::string& line, const std::string& environment = "") const;

  // Runs `script` with all commands, and returns what it prints.
  std::string Do(const std::string& script) const;

  // Returns the calls since the last call of this function.
  std::vector<std::string> TakeCalls() const;

  TemporaryDirectory m_directory;
};

extern const std::string kAptGet;  // the begin of each call of apt-get

std::string Install(const std::string& packages);

// Returns the call that configures a preset, with the tests (ON) or without (OFF).
std::string Configure(const std::string& preset, const std::string& tests,
                      const std::string& option = "");
