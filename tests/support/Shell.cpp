#include "tests/support/Shell.h"

#include <gtest/gtest.h>

#include <regex>

#include "tests/support/Skip.h"

ChildResult RunShell(const std::string& script, const std::string& directory,
                     unsigned int seconds) {
  return ChildProcess("/bin/bash", {"bash", "-c", script}, directory, seconds).Wait();
}

std::string OutputOf(const std::string& script, const std::string& directory,
                     unsigned int seconds) {
  const ChildResult result = RunShell(script, directory, seconds);
  EXPECT_EQ(result.exitStatus, 0) << script << "\n"
                                  << result.standardOutput << result.standardError;
  return result.standardOutput;
}

std::string Quoted(const std::string& text) {
  std::string quoted = "'";
  quoted += std::regex_replace(text, std::regex("'"), "'\\''");
  quoted += "'";
  return quoted;
}

void NeedPrograms(const std::vector<std::string>& programs) {
  for (const std::string& program : programs) {
    if (RunShell("PATH=$PATH:/usr/sbin:/sbin command -v " + Quoted(program), "/").exitStatus != 0) {
      Skip(program + " is missing");
    }
  }
}
