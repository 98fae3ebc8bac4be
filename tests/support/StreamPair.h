// Two connected stream sockets.

#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

class StreamPair {
 public:
  StreamPair() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, m_ends.data()), 0); }
  ~StreamPair() {
    close(m_ends[0]);
    CloseOther();
  }

  StreamPair(const StreamPair&) = delete;
  StreamPair& operator=(const StreamPair&) = delete;

  int One() const { return m_ends[0]; }
  int Other() const { return m_ends[1]; }

  void CloseOther() {
    close(m_ends[1]);
    m_ends[1] = -1;
  }

 private:
  std::array<int, 2> m_ends{};
};
