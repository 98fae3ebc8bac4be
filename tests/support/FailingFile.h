// A file of which a read fails after its content: a pipe, where signals interrupt the wait for
// more. One at a time, in a process with one thread.

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
