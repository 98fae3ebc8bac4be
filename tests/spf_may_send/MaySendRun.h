// A run of spf-may-send in an empty directory, as a script would start it.

#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/TemporaryDirectory.h"

class MaySendRun {
 public:
  // Starts it by `command` of sh, in which "$@" is the program and its arguments.
  explicit MaySendRun(const std::vector<std::string>& arguments,
                      const std::string& command = "exec \"$@\"");

  // Sends it a signal, before it was waited for.
  void Signal(int signal) const;

  // Waits for its end, and expects that it left no file.
  const ChildResult& GetResult();

  // Return parts of GetResult().
  int GetStatus() { return GetResult().exitStatus; }
  const std::string& GetOutput() { return GetResult().standardOutput; }
  const std::string& GetErrors() { return GetResult().standardError; }

 private:
  TemporaryDirectory m_directory;
  ChildProcess m_child;
  std::unique_ptr<ChildResult> m_result;
};

// The exit statuses.
inline constexpr int kPassed = 0;
inline constexpr int kFailed = 1;
inline constexpr int kWrongUse = 2;
inline constexpr int kNone = 3;
inline constexpr int kNoVerdict = 4;

// Runs the program and expects `status`, `output`, and nothing on standard error.
void ExpectVerdict(const std::vector<std::string>& arguments, int status,
                   const std::string& output);

// Runs the program and expects that it reports wrong use by `message`.
void ExpectWrongUse(const std::vector<std::string>& arguments, const std::string& message);

// The fixture of tests whose name server is at 127.0.0.1.
class MaySendTest : public testing::Test {
 protected:
  MaySendTest() { SetResolverFile("nameserver 127.0.0.1\n"); }
};
