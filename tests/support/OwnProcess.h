#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <string>

#include "tests/support/TemporaryDirectory.h"

// Runs `scenario` in a copy of this process, which then ends as by a return from main: for what can
// be done once in a process. Expects no failure, no output, and an end within 60 s. Call it while
// this process has one thread.
inline void InOwnProcess(const std::function<void()>& scenario) {
  const TemporaryDirectory outputs;
  const std::string path = outputs.Path("output");
  std::fflush(nullptr);
  const pid_t process = fork();
  ASSERT_GE(process, 0);
  if (process == 0) {
    if (std::freopen(path.c_str(), "a", stdout) == nullptr ||
        dup2(STDOUT_FILENO, STDERR_FILENO) < 0) {
      _exit(127);
    }
    alarm(60);
    try {
      scenario();
    } catch (const std::exception& failure) {
      ADD_FAILURE() << failure.what();
    }
    std::exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  EXPECT_FALSE(WIFSIGNALED(status)) << "signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(outputs.Read("output"), "");
}
