// A Unix socket for datagrams, such as those of a system log or a service manager.

#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <string>

class DatagramReceiver {
 public:
  // `path`: where it is; a leading "@" stands for an abstract name.
  explicit DatagramReceiver(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    if (path.front() == '@') {
      address.sun_path[0] = '\0';
    }
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    EXPECT_EQ(bind(m_descriptor, reinterpret_cast<const sockaddr*>(&address), length), 0);
    const timeval limit{.tv_sec = 10, .tv_usec = 0};
    setsockopt(m_descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
  }
  ~DatagramReceiver() { close(m_descriptor); }

  DatagramReceiver(const DatagramReceiver&) = delete;
  DatagramReceiver& operator=(const DatagramReceiver&) = delete;

  // Returns the next datagram; "nothing" if none comes within 10 s.
  std::string Receive() const {
    std::array<char, 500> buffer{};
    const ssize_t length = recv(m_descriptor, buffer.data(), buffer.size(), 0);
    return length < 0 ? "nothing" : std::string(buffer.data(), static_cast<std::size_t>(length));
  }

 private:
  int m_descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};
