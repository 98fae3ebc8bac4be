// One run of spf-may-send as a script would start it, in an empty directory.

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

class MaySendRun {
 public:
  // Starts it. `command`: what sh runs, with "$@" for the program and its arguments.
  explicit MaySendRun(const std::vector<std::string>& arguments,
                      const std::string& command = "exec \"$@\"");

  // Sends a signal to it, as long as it was not waited for.
  void Signal(int signal) const;

  // Waits for its end, and expects that it left no file.
  const ChildResult& GetResult();

  // Return what it did, as GetResult.
  int GetStatus() { return GetResult().exitStatus; }
  const std::string& GetOutput() { return GetResult().standardOutput; }
  const std::string& GetErrors() { return GetResult().standardError; }

 private:
  TemporaryDirectory m_directory;
  ChildProcess m_child;
  std::unique_ptr<ChildResult> m_result;
};

// The verdicts' statuses, as scripts know them.
inline constexpr int kPassed = 0;
inline constexpr int kFailed = 1;
inline constexpr int kWrongUse = 2;
inline constexpr int kNone = 3;
inline constexpr int kNoVerdict = 4;

// Runs the program and compares status and standard output; nothing is to be on standard error.
void ExpectVerdict(const std::vector<std::string>& arguments, int status,
                   const std::string& output);
