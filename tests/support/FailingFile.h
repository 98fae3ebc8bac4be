// A file whose reader gets what it holds and then, in place of its end, a failed read: a pipe in
// which the wait for more is interrupted by a signal. One at a time, in a process of one thread.

#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include "tests/support/TemporaryDirectory.h"

class FailingFile {
 public:
  explicit FailingFile(const std::string& content) {
    EXPECT_EQ(mkfifo(Path().c_str(), 0600), 0);
    m_pipe = open(Path().c_str(), O_RDWR | O_CLOEXEC);
    EXPECT_EQ(write(m_pipe, content.data(), content.size()), static_cast<ssize_t>(content.size()));
    struct sigaction interrupt {};  // without SA_RESTART
    interrupt.sa_handler = [](int) {};
    sigaction(SIGALRM, &interrupt, &m_before);
    const itimerval eachMillisecond{{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &eachMillisecond, nullptr);
  }
  ~FailingFile() {
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &m_before, nullptr);
    close(m_pipe);
  }

  FailingFile(const FailingFile&) = delete;
  FailingFile& operator=(const FailingFile&) = delete;

  std::string Path() const { return m_directory.Path("file"); }

 private:
  TemporaryDirectory m_directory;
  int m_pipe = -1;
  struct sigaction m_before {};
};
