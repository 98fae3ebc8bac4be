// UDP sockets whose waits and transfers a test scripts, and the other side of those that work.

#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <concepts>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <string>
#include <thread>
#include <vector>

#include "framework/Utilities/RandomString.h"
#include "framework/core/Exceptions.h"
#include "framework/net/UDPSocket.h"
#include "tests/support/FailureText.h"
#include "tests/support/OpenDescriptors.h"

using Events = std::vector<std::string>;

inline __attribute__((format(printf, 1, 2))) std::string Print(const char* format, ...) {
  std::array<char, 200> text{};
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  return text.data();
}

// How a scripted call ends.
struct Outcome {
  int result = 0;
  int error = 0;           // errno afterwards
  std::string bytes = {};  // what a read brings
};

inline Outcome Done(int result) {
  return {result, 0, ""};
}

inline Outcome Fails(int error) {
  return {-1, error, ""};
}

inline Outcome Bytes(const std::string& bytes) {
  return {static_cast<int>(bytes.size()), 0, bytes};
}

template <typename T>
T TakeFirst(std::deque<T>& queue, const T& otherwise) {
  if (queue.empty()) {
    return otherwise;
  }
  const T first = queue.front();
  queue.pop_front();
  return first;
}

// While one exists, nothing waits: each wait is noted in events and ends with the next outcome, or
// with one ready descriptor after the last one.
class ScriptedWaits {
 public:
  template <std::same_as<Outcome>... Outcomes>
  explicit ScriptedWaits(const Outcomes&... outcomes) : m_outcomes{outcomes...} {
    active = this;
  }
  ~ScriptedWaits() { active = nullptr; }
  ScriptedWaits(const ScriptedWaits&) = delete;
  ScriptedWaits& operator=(const ScriptedWaits&) = delete;

  int Take(int count, fd_set* reading, fd_set* writing, const timeval* timeout) {
    std::string event = Print("select %d", count);
    event += Contains(count - 1, reading) ? " reading" : "";
    event += Contains(count - 1, writing) ? " writing" : "";
    event += timeout != nullptr ? Print(" %ld.%06ld", static_cast<long>(timeout->tv_sec),
                                        static_cast<long>(timeout->tv_usec))
                                : " forever";
    events.push_back(event);
    const Outcome outcome = TakeFirst(m_outcomes, Done(1));
    if (outcome.result < 1) {  // as a real wait that finds nothing
      Clear(reading);
      Clear(writing);
    }
    errno = outcome.error;
    return outcome.result;
  }

  inline static ScriptedWaits* active = nullptr;
  Events events;

 private:
  static bool Contains(int descriptor, const fd_set* set) {
    return set != nullptr && FD_ISSET(descriptor, set);
  }
  static void Clear(fd_set* set) {
    if (set != nullptr) {
      FD_ZERO(set);
    }
  }

  std::deque<Outcome> m_outcomes;
};

class OpenedUDPSocket : public UDPSocket {
 public:
  explicit OpenedUDPSocket(int descriptor = 0, int timeout = 0) : UDPSocket(descriptor, timeout) {}
  using UDPSocket::m_descriptor;
  using UDPSocket::m_key;
  using UDPSocket::m_nonBlocking;
  using UDPSocket::m_peer;
  using UDPSocket::m_peerDescription;
  using UDPSocket::m_port;
  using UDPSocket::m_retryCount;
  using UDPSocket::m_timeout;
  using UDPSocket::m_wait;
};

// Its transfers touch no descriptor: each is noted and ends with the next outcome, or with 0 after
// the last one.
class ScriptedUDPSocket : public OpenedUDPSocket {
 public:
  template <std::same_as<Outcome>... Outcomes>
  explicit ScriptedUDPSocket(const Outcomes&... outcomes) : m_outcomes{outcomes...} {}

  ssize_t ReceiveRaw(char* buffer, unsigned int length) override {
    const Outcome outcome = Take("receive", length);
    std::copy(outcome.bytes.begin(), outcome.bytes.end(), buffer);
    errno = outcome.error;
    return outcome.result;
  }

  ssize_t SendRaw(const char* buffer, unsigned int length) override {
    const Outcome outcome = Take("send", length);
    sent.emplace_back(buffer, length);
    errno = outcome.error;
    return outcome.result;
  }

  // Returns the transfers, with the waits between them while there is a ScriptedWaits.
  Events& Log() {
    return ScriptedWaits::active != nullptr ? ScriptedWaits::active->events : events;
  }

  Events events;
  std::vector<std::string> sent;

 private:
  Outcome Take(const char* what, unsigned int length) {
    Log().push_back(Print("%s %u", what, length));
    return TakeFirst(m_outcomes, Done(0));
  }

  std::deque<Outcome> m_outcomes;
};

// Notes how its sockets are made.
class CreationRecorder : public OpenedUDPSocket {
 public:
  void CreateSocket(int domain, int type, int protocol, bool nonBlocking) override {
    created.push_back(Print("%d %d %d %d", domain, type, protocol, nonBlocking ? 1 : 0));
    OpenedUDPSocket::CreateSocket(domain, type, protocol, nonBlocking);
  }
  Events created;
};

// Gets no socket.
class NoSocket : public OpenedUDPSocket {
 public:
  void CreateSocket(int /*domain*/, int /*type*/, int /*protocol*/, bool /*nonBlocking*/) override {
    throw SocketException("no socket");
  }
};

// The other side: a plain socket on 127.0.0.1 that waits for a datagram at most 10 s.
class Peer {
 public:
  Peer() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    const timeval limit{.tv_sec = 10, .tv_usec = 0};
    setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
  }
  ~Peer() { close(m_socket); }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  static int PortOf(int descriptor) {
    sockaddr_in address{};
    socklen_t length = sizeof(address);
    getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
  }

  int Port() const { return PortOf(m_socket); }

  // Returns the next datagram, whose sender becomes the one to answer.
  std::string Receive() {
    std::array<char, 65536> buffer;
    socklen_t length = sizeof(m_other);
    const ssize_t count = recvfrom(m_socket, buffer.data(), buffer.size(), 0,
                                   reinterpret_cast<sockaddr*>(&m_other), &length);
    EXPECT_GE(count, 0) << "no datagram came";
    return std::string(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  }

  void Answer(const std::string& datagram) const {
    sendto(m_socket, datagram.data(), datagram.size(), 0,
           reinterpret_cast<const sockaddr*>(&m_other), sizeof(m_other));
  }

  void SendTo(int port, const std::string& datagram) {
    m_other.sin_family = AF_INET;
    m_other.sin_port = htons(static_cast<std::uint16_t>(port));
    m_other.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    Answer(datagram);
  }

  bool HasDatagram() const {
    char byte = 0;
    return recv(m_socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) >= 0;
  }

 private:
  int m_socket = socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in m_other{};
};

// Connects `socket` to `peer`, which then answers to it.
inline void ConnectTo(Peer& peer, OpenedUDPSocket& socket, bool nonBlocking) {
  socket.Connect("127.0.0.1", std::to_string(peer.Port()), nonBlocking);
  sockaddr_in any{};
  any.sin_family = AF_INET;
  ASSERT_EQ(bind(socket.m_descriptor, reinterpret_cast<const sockaddr*>(&any), sizeof(any)), 0);
  peer.SendTo(Peer::PortOf(socket.m_descriptor), "");
  char byte = 0;
  ASSERT_EQ(recv(socket.m_descriptor, &byte, 1, 0), 0);
}

using Clock = std::chrono::steady_clock;

inline double MillisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// Seeds the generator that probes are drawn from.
inline void Seed(unsigned int seed) {
  const RandomString first(1, "x");  // the first one in a process seeds it
  std::srand(seed);
}

inline const std::string kAlphabet =
    "aA1bB2cC3dD4eE5fF6gG7hH8iI9jJkKlLmMnNoOpPqQrRsStTuUvVwWxXyYzZ";

inline void ExpectProbe(const std::string& probe) {
  EXPECT_EQ(probe.size(), 16U);
  EXPECT_EQ(probe.find_first_not_of(kAlphabet), std::string::npos) << probe;
}
