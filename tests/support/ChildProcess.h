// Runs a program as a user would and keeps all that it did.

#pragma once

#include <string>
#include <vector>

struct ChildResult {
  int exitStatus = -1;  // -1 when a signal ended it
  int signal = 0;       // 0 when it ended by itself
  std::string standardOutput;
  std::string standardError;
};

// Runs program with arguments (the zeroth, its name, included) in directory and waits for its end.
// A program that runs for more than 60 s is killed. Throws std::system_error when it cannot be
// started.
ChildResult RunChild(const std::string& program, const std::vector<std::string>& arguments,
                     const std::string& directory);
