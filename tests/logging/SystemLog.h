// The receiving end of the system log.

#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "tests/support/OwnMount.h"
#include "tests/support/Waiting.h"

// Receives, while it exists, what this process and its children send to the system log.
class SystemLog {
 public:
  SystemLog() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/dev/log");
    EXPECT_EQ(bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  }
  ~SystemLog() { close(m_socket); }
  SystemLog(const SystemLog&) = delete;
  SystemLog& operator=(const SystemLog&) = delete;

  // Returns the next message, or "nothing" if none has come.
  std::string Next() const {
    std::array<char, 8192> buffer;
    const ssize_t length = recv(m_socket, buffer.data(), buffer.size(), MSG_DONTWAIT);
    return length >= 0 ? std::string(buffer.data(), static_cast<std::size_t>(length)) : "nothing";
  }

  // Waits for the next message and expects `line` of this process in it: informational (6), from a
  // user program (1 * 8), with the time, `identity` and the process ID.
  void ExpectNext(const std::string& identity, const std::string& line) const {
    constexpr std::size_t kTime = sizeof("Mar  1 14:05:09 ") - 1;
    std::string message;
    EXPECT_TRUE(ComesTrue([&] { return (message = Next()) != "nothing"; }));
    EXPECT_EQ(message.substr(0, 4), "<14>");
    EXPECT_EQ(message.substr(std::min(4 + kTime, message.size())),
              identity + "[" + std::to_string(getpid()) + "]: " + line);
  }

 private:
  OwnMount m_devices{"/dev"};
  int m_socket = socket(AF_UNIX, SOCK_DGRAM, 0);
};
