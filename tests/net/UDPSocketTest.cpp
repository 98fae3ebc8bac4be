#include <arpa/inet.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <concepts>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "framework/Utilities/RandomString.h"
#include "framework/core/Exceptions.h"
#include "framework/net/UDPSocket.h"
#include "tests/support/OpenDescriptors.h"

namespace {

using Events = std::vector<std::string>;

__attribute__((format(printf, 1, 2))) std::string Print(const char* format, ...) {
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

Outcome Done(int result) {
  return {result, 0, ""};
}

Outcome Fails(int error) {
  return {-1, error, ""};
}

Outcome Bytes(const std::string& bytes) {
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

// While one exists, no wait takes place: each is noted in events and ends with the next outcome, or
// with one ready descriptor when there is none left.
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
    if (outcome.result < 1) {  // as a wait does that found nothing: the sets are not to be reused
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

// While one exists, this process seems to have the ids below, and changes of identity are only
// noted, together with the binds between them.
class ScriptedIdentity {
 public:
  ScriptedIdentity() { active = this; }
  ~ScriptedIdentity() {  // -1 leaves an id as it is, for the tests after this one
    realUser = realGroup = effectiveUser = effectiveGroup = static_cast<uid_t>(-1);
    UDPSocket::SaveIdentity();
    active = nullptr;
  }
  ScriptedIdentity(const ScriptedIdentity&) = delete;
  ScriptedIdentity& operator=(const ScriptedIdentity&) = delete;

  void Note(const char* call, uid_t first, uid_t second) {
    events.push_back(Print("%s %d %d", call, static_cast<int>(first), static_cast<int>(second)));
  }

  inline static ScriptedIdentity* active = nullptr;
  uid_t realUser = 11;
  uid_t effectiveUser = 12;
  gid_t realGroup = 13;
  gid_t effectiveGroup = 14;
  Events events;
};

template <typename Function>
Function* System(Function* /*likeThis*/, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

int select(int count, fd_set* reading, fd_set* writing, fd_set* exceptional, timeval* timeout) {
  static const auto system = System(&select, "select");
  return ScriptedWaits::active != nullptr
             ? ScriptedWaits::active->Take(count, reading, writing, timeout)
             : system(count, reading, writing, exceptional, timeout);
}

int bind(int descriptor, const sockaddr* address, socklen_t length) noexcept {
  static const auto system = System(&bind, "bind");
  if (ScriptedIdentity::active != nullptr) {
    ScriptedIdentity::active->events.emplace_back("bind");
  }
  return system(descriptor, address, length);
}

int setreuid(uid_t real, uid_t effective) noexcept {
  static const auto system = System(&setreuid, "setreuid");
  if (ScriptedIdentity::active == nullptr) {
    return system(real, effective);
  }
  ScriptedIdentity::active->Note("setreuid", real, effective);
  return 0;
}

int setregid(gid_t real, gid_t effective) noexcept {
  static const auto system = System(&setregid, "setregid");
  if (ScriptedIdentity::active == nullptr) {
    return system(real, effective);
  }
  ScriptedIdentity::active->Note("setregid", real, effective);
  return 0;
}

uid_t getuid() noexcept {
  static const auto system = System(&getuid, "getuid");
  return ScriptedIdentity::active != nullptr ? ScriptedIdentity::active->realUser : system();
}

uid_t geteuid() noexcept {
  static const auto system = System(&geteuid, "geteuid");
  return ScriptedIdentity::active != nullptr ? ScriptedIdentity::active->effectiveUser : system();
}

gid_t getgid() noexcept {
  static const auto system = System(&getgid, "getgid");
  return ScriptedIdentity::active != nullptr ? ScriptedIdentity::active->realGroup : system();
}

gid_t getegid() noexcept {
  static const auto system = System(&getegid, "getegid");
  return ScriptedIdentity::active != nullptr ? ScriptedIdentity::active->effectiveGroup : system();
}

}  // extern "C"

namespace {

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

// Its transfers touch no descriptor: each is noted and ends with the next outcome; once there is
// none left, with 0.
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

  // The transfers, and the waits if ScriptedWaits is there, in one row.
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

// The other side: a plain socket on 127.0.0.1 that waits for at most 10 s.
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

  // The next datagram. Its sender becomes the one to answer.
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

// Connected to peer, which knows it as the one to answer.
void ConnectTo(Peer& peer, OpenedUDPSocket& socket, bool flag) {
  socket.Connect("127.0.0.1", std::to_string(peer.Port()), flag);
  sockaddr_in any{};
  any.sin_family = AF_INET;
  ASSERT_EQ(bind(socket.m_descriptor, reinterpret_cast<const sockaddr*>(&any), sizeof(any)), 0);
  peer.SendTo(Peer::PortOf(socket.m_descriptor), "");
  char byte = 0;
  ASSERT_EQ(recv(socket.m_descriptor, &byte, 1, 0), 0);
}

template <typename Failure, typename Call>
std::string FailureText(Call call) {
  try {
    call();
  } catch (const Failure& failure) {
    return failure.what();
  }
  return "nothing was thrown";
}

using Clock = std::chrono::steady_clock;

double MillisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

bool IsOpen(int descriptor) {
  return fcntl(descriptor, F_GETFD) != -1;
}

bool IsNonBlocking(int descriptor) {
  return (fcntl(descriptor, F_GETFL) & O_NONBLOCK) != 0;
}

// A copy of descriptor whose number is the lowest free one from lowest on; nothing where this
// process may not have such numbers.
std::optional<int> CopyFrom(int lowest, int descriptor) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 2048);
  setrlimit(RLIMIT_NOFILE, &limit);
  const int copy = fcntl(descriptor, F_DUPFD, lowest);
  return copy >= 0 ? std::optional<int>(copy) : std::nullopt;
}

// While one exists, this process gets no piece of memory of more than 1 GiB.
class LimitedAddressSpace {
 public:
  LimitedAddressSpace() {
    getrlimit(RLIMIT_AS, &m_before);
    rlim_t pages = 0;  // that the process has already
    std::ifstream("/proc/self/statm") >> pages;
    const rlimit limit{
        .rlim_cur = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + (rlim_t{1} << 30),
        .rlim_max = m_before.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
  }
  ~LimitedAddressSpace() { setrlimit(RLIMIT_AS, &m_before); }
  LimitedAddressSpace(const LimitedAddressSpace&) = delete;
  LimitedAddressSpace& operator=(const LimitedAddressSpace&) = delete;

 private:
  rlimit m_before{};
};

// Starts the generator that probes are drawn from.
void Seed(unsigned int seed) {
  const RandomString first(1, "x");  // the first one in a process would seed it itself
  std::srand(seed);
}

const std::string kAlphabet = "aA1bB2cC3dD4eE5fF6gG7hH8iI9jJkKlLmMnNoOpPqQrRsStTuUvVwWxXyYzZ";

void ExpectProbe(const std::string& probe) {
  EXPECT_EQ(probe.size(), 16U);
  EXPECT_EQ(probe.find_first_not_of(kAlphabet), std::string::npos) << probe;
}

}  // namespace

// Construction and destruction

TEST(UDPSocketTest, ANewSocketHasTheInitialValues) {
  OpenedUDPSocket socket(0, 30000);
  EXPECT_EQ(socket.m_descriptor, 0);
  EXPECT_EQ(socket.m_timeout, 30000);
  EXPECT_EQ(socket.m_wait, 0);
  EXPECT_EQ(socket.m_nonBlocking, 0);
  EXPECT_EQ(socket.m_retryCount, 10);
  EXPECT_EQ(socket.m_port, 0);
  EXPECT_EQ(socket.m_key, "");
  EXPECT_EQ(socket.m_peerDescription, "");
}

TEST(UDPSocketTest, DestroyClosesWithoutAShutdown) {
  std::array<int, 2> ends{};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
  const int copy = dup(ends[0]);
  OpenedUDPSocket socket(copy);
  socket.Destroy();
  EXPECT_EQ(socket.m_descriptor, 0);
  EXPECT_FALSE(IsOpen(copy));
  EXPECT_EQ(send(ends[1], "x", 1, MSG_DONTWAIT | MSG_NOSIGNAL), 1);
  close(ends[0]);
  close(ends[1]);
}

TEST(UDPSocketTest, DestroyMayBeCalledAnyNumberOfTimes) {
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", "53", false);
  socket.Destroy();
  EXPECT_NO_THROW(socket.Destroy());
  EXPECT_EQ(socket.m_descriptor, 0);
}

TEST(UDPSocketTest, DestroyForgetsANegativeDescriptorToo) {
  OpenedUDPSocket socket(-1);
  EXPECT_NO_THROW(socket.Destroy());
  EXPECT_EQ(socket.m_descriptor, 0);
}

TEST(UDPSocketTest, DestroyDoesNotThrowForADescriptorThatIsNoSocket) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  {
    OpenedUDPSocket socket(ends[0]);
    EXPECT_NO_THROW(socket.Destroy());
  }
  EXPECT_FALSE(IsOpen(ends[0]));
  close(ends[1]);
}

TEST(UDPSocketTest, TheDestructorClosesTheSocket) {
  int descriptor = 0;
  {
    OpenedUDPSocket socket;
    socket.Connect("127.0.0.1", "53", true);
    descriptor = socket.m_descriptor;
    EXPECT_TRUE(IsOpen(descriptor));
  }
  EXPECT_FALSE(IsOpen(descriptor));
}

TEST(UDPSocketTest, TheDestructorClosesWithoutAShutdown) {
  std::array<int, 2> ends{};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
  { const OpenedUDPSocket socket(dup(ends[0])); }
  EXPECT_EQ(send(ends[1], "x", 1, MSG_DONTWAIT | MSG_NOSIGNAL), 1);
  close(ends[0]);
  close(ends[1]);
}

// Connect

TEST(UDPSocketTest, ConnectSetsThePeerAndReturnsItsAddress) {
  OpenedUDPSocket socket;
  EXPECT_EQ(socket.Connect("192.0.2.1", "53", false), inet_addr("192.0.2.1"));
  EXPECT_EQ(socket.m_port, 53);
  EXPECT_EQ(socket.m_peer.sin_family, 2);
  EXPECT_EQ(ntohs(socket.m_peer.sin_port), 53);
  EXPECT_EQ(socket.m_peer.sin_addr.s_addr, inet_addr("192.0.2.1"));
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(socket.m_peer.sin_zero), 8),
            std::string(8, '\0'));
  EXPECT_EQ(socket.m_peerDescription, "");
}

TEST(UDPSocketTest, ConnectOpensAUDPSocketThatIsNotConnected) {
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", "53", false);
  const struct {
    int option;
    int value;
  } rows[] = {{SO_DOMAIN, AF_INET}, {SO_TYPE, SOCK_DGRAM}, {SO_PROTOCOL, IPPROTO_UDP}};
  for (const auto& row : rows) {
    int value = 0;
    socklen_t length = sizeof(value);
    getsockopt(socket.m_descriptor, SOL_SOCKET, row.option, &value, &length);
    EXPECT_EQ(value, row.value);
  }
  sockaddr_in name{};
  socklen_t length = sizeof(name);
  EXPECT_EQ(getpeername(socket.m_descriptor, reinterpret_cast<sockaddr*>(&name), &length), -1);
}

TEST(UDPSocketTest, ConnectExchangesNoDatagram) {
  const Peer peer;
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", std::to_string(peer.Port()), true);
  EXPECT_FALSE(peer.HasDatagram());
}

TEST(UDPSocketTest, ConnectMakesItsSocketThroughCreateSocket) {
  CreationRecorder socket;
  socket.Connect("127.0.0.1", "53", false);
  socket.Connect("127.0.0.1", "53", true);
  EXPECT_EQ(socket.created, (Events{"2 2 17 0", "2 2 17 1"}));
}

TEST(UDPSocketTest, ConnectReadsADecimalPortAndKeepsItsLow16Bits) {
  const struct {
    const char* text;
    int port;
  } rows[] = {{"53", 53},       {" 53", 53},  {"53x", 53},   {"", 0},    {"smtp", 0},
              {"65535", 65535}, {"65536", 0}, {"-1", 65535}, {"0x35", 0}};
  for (const auto& row : rows) {
    OpenedUDPSocket socket;
    socket.Connect("127.0.0.1", row.text, false);
    EXPECT_EQ(socket.m_port, row.port) << row.text;
    EXPECT_EQ(ntohs(socket.m_peer.sin_port), row.port) << row.text;
  }
}

TEST(UDPSocketTest, ConnectRefusesTheAddress0000AfterOpeningTheSocket) {
  OpenedUDPSocket socket;
  EXPECT_EQ(FailureText<UDPSocketException>([&] { socket.Connect("0.0.0.0", "53", false); }),
            "UDPSocket::Connect - inet_addr() failed");
  EXPECT_EQ(socket.m_port, 53);
  EXPECT_EQ(ntohs(socket.m_peer.sin_port), 53);
  EXPECT_GT(socket.m_descriptor, 0);
}

TEST(UDPSocketTest, ConnectTakesATextThatIsNoAddressForAllOnes) {
  for (const char* const text : {"name.server.test", "1.2.3.256", "255.255.255.255", "1.2.3.4.5"}) {
    OpenedUDPSocket socket;
    EXPECT_EQ(socket.Connect(text, "53", false), 0xFFFFFFFFU) << text;
    EXPECT_EQ(socket.m_peer.sin_addr.s_addr, 0xFFFFFFFFU) << text;
  }
}

TEST(UDPSocketTest, ConnectWithTheFlagMakesANonBlockingSocketThatWaits) {
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", "53", true);
  EXPECT_TRUE(IsNonBlocking(socket.m_descriptor));
  EXPECT_EQ(socket.m_nonBlocking, 1);
  EXPECT_NE(socket.m_wait, 0);
}

TEST(UDPSocketTest, ConnectWithoutTheFlagLeavesTheSocketBlockingAndTheWaitFlagAsItIs) {
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", "53", false);
  EXPECT_FALSE(IsNonBlocking(socket.m_descriptor));
  EXPECT_EQ(socket.m_wait, 0);
  socket.m_wait = 1;
  socket.Connect("127.0.0.1", "53", false);
  EXPECT_EQ(socket.m_wait, 1);
}

TEST(UDPSocketTest, ANewConnectClosesTheSocketOfTheOneBefore) {
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", "53", true);
  const std::ptrdiff_t before = OpenDescriptors();
  for (int i = 0; i < 20; ++i) {
    socket.Connect("127.0.0.1", "54", true);
  }
  EXPECT_EQ(OpenDescriptors(), before);
  EXPECT_EQ(ntohs(socket.m_peer.sin_port), 54);
}

TEST(UDPSocketTest, ConnectThatGetsNoSocketHasSetThePortAndNotThePeer) {
  NoSocket socket;
  socket.m_peer.sin_port = htons(7);
  EXPECT_EQ(FailureText<SocketException>([&] { socket.Connect("192.0.2.1", "53", true); }),
            "no socket");
  EXPECT_EQ(socket.m_port, 53);
  EXPECT_EQ(ntohs(socket.m_peer.sin_port), 7);
  EXPECT_EQ(socket.m_peer.sin_addr.s_addr, 0U);
}

TEST(UDPSocketTest, WhatConnectSetOutlivesDestroy) {
  OpenedUDPSocket socket;
  socket.m_key = "secret";
  socket.Connect("127.0.0.1", "53", true);
  socket.Destroy();
  EXPECT_NE(socket.m_wait, 0);
  EXPECT_EQ(socket.m_port, 53);
  EXPECT_EQ(ntohs(socket.m_peer.sin_port), 53);
  EXPECT_EQ(socket.m_peer.sin_addr.s_addr, inet_addr("127.0.0.1"));
  EXPECT_EQ(socket.m_key, "secret");
}

// ConnectAndProbe

TEST(UDPSocketTest, ConnectAndProbeSendsARandomTextAndKeepsItsEcho) {
  for (const bool flag : {false, true}) {
    Peer peer;
    std::string probe;
    std::jthread echo([&] {
      probe = peer.Receive();
      peer.Answer(probe);
    });
    OpenedUDPSocket socket;
    EXPECT_EQ(socket.ConnectAndProbe("127.0.0.1", std::to_string(peer.Port()), flag),
              inet_addr("127.0.0.1"));
    echo.join();
    ExpectProbe(probe);
    EXPECT_EQ(socket.m_key, probe);
    EXPECT_EQ(IsNonBlocking(socket.m_descriptor), flag);
  }
}

TEST(UDPSocketTest, AProbeIsDrawnFromTheGeneratorOverTheAlphabet) {
  ScriptedUDPSocket socket;
  for (const unsigned int seed : {1U, 4711U}) {
    Seed(seed);
    socket.ConnectAndProbe("127.0.0.1", "7", false);
    std::srand(seed);
    std::string expected;
    for (int i = 0; i < 16; ++i) {
      expected += kAlphabet[static_cast<std::size_t>(std::rand() % 61)];
    }
    EXPECT_EQ(socket.sent.back(), expected);
  }
}

TEST(UDPSocketTest, TheAlphabetOfTheProbesHas61CharactersAndNoZero) {
  ScriptedUDPSocket socket;
  std::set<char> seen;
  for (int i = 0; i < 200; ++i) {
    socket.ConnectAndProbe("127.0.0.1", "7", false);
    seen.insert(socket.sent.back().begin(), socket.sent.back().end());
  }
  EXPECT_EQ(seen.size(), 61U);
  EXPECT_EQ(seen.count('0'), 0U);
}

TEST(UDPSocketTest, TwoProbesDiffer) {
  ScriptedUDPSocket socket(Done(16), Bytes(std::string(16, 'x')), Done(16),
                           Bytes(std::string(16, 'x')));
  socket.ConnectAndProbe("127.0.0.1", "7", false);
  socket.ConnectAndProbe("127.0.0.1", "7", false);
  ASSERT_EQ(socket.sent.size(), 2U);
  EXPECT_NE(socket.sent[0], socket.sent[1]);
}

TEST(UDPSocketTest, ConnectAndProbeKeepsWhatCameBackAlsoWhenItIsNoEcho) {
  ScriptedUDPSocket socket(Done(16), Bytes("abcdefgh"), Bytes("12345678"));
  socket.ConnectAndProbe("127.0.0.1", "7", false);
  ExpectProbe(socket.sent.at(0));
  EXPECT_EQ(socket.m_key, "abcdefgh12345678");
  EXPECT_EQ(socket.events, (Events{"send 16", "receive 16", "receive 8"}));
}

TEST(UDPSocketTest, WhatCameBackIsTheKeyAlsoWhenItIsShorterThanTheProbe) {
  ScriptedUDPSocket part(Done(16), Bytes("abc"), Fails(EAGAIN));
  part.ConnectAndProbe("127.0.0.1", "7", false);
  EXPECT_EQ(part.m_key, "abc");
  ScriptedUDPSocket nothing(Done(16), Done(0));
  nothing.ConnectAndProbe("127.0.0.1", "7", false);
  EXPECT_EQ(nothing.m_key, "");
}

TEST(UDPSocketTest, ConnectAndProbeWaitsUpTo60SecondsForEachTransfer) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Done(16), Bytes(std::string(16, 'x')));
  socket.ConnectAndProbe("127.0.0.1", "7", true);
  const int count = socket.m_descriptor + 1;
  EXPECT_EQ(waits.events, (Events{Print("select %d reading writing 60.000000", count), "send 16",
                                  Print("select %d reading 60.000000", count), "receive 16"}));
}

TEST(UDPSocketTest, AProbeWithoutAnEchoTimesOutWithTheProbeAsKey) {
  const ScriptedWaits waits(Done(1), Done(0));
  ScriptedUDPSocket socket(Done(16));
  EXPECT_EQ(FailureText<UDPSocketTimeoutException>(
                [&] { socket.ConnectAndProbe("127.0.0.1", "7", true); }),
            "UDPSocket::SelectReadWrite - timed out (60000) while reading from the socket on () :: "
            "failed with code 110: Connection timed out");
  EXPECT_EQ(socket.m_key, socket.sent.at(0));
}

TEST(UDPSocketTest, ConnectAndProbeRefusesWhatConnectRefuses) {
  ScriptedUDPSocket socket;
  EXPECT_EQ(FailureText<UDPSocketException>([&] { socket.ConnectAndProbe("0.0.0.0", "7", false); }),
            "UDPSocket::Connect - inet_addr() failed");
  EXPECT_EQ(socket.events, Events());
}

TEST(UDPSocketTest, ConnectAndProbeThrowsWhenASendReturnsMinusOne) {
  class NoSend : public ScriptedUDPSocket {
   public:
    int Send(const char* /*buffer*/, unsigned int /*length*/, unsigned int& /*sent*/,
             int /*timeoutMs*/) override {
      return -1;
    }
  };
  NoSend socket;
  EXPECT_EQ(
      FailureText<UDPSocketException>([&] { socket.ConnectAndProbe("127.0.0.1", "7", false); }),
      "UDPSocket::Connect - Send failed");
  EXPECT_EQ(socket.m_key, "");
  EXPECT_EQ(socket.events, Events());
}

TEST(UDPSocketTest, ConnectAndProbeThrowsWhenAReceiveReturnsMinusOne) {
  class NoReceive : public ScriptedUDPSocket {
   public:
    using ScriptedUDPSocket::ScriptedUDPSocket;
    int Receive(char* /*buffer*/, unsigned int length, unsigned int& /*received*/, int timeoutMs,
                bool fill) override {
      EXPECT_EQ(length, 16U);
      EXPECT_EQ(timeoutMs, 60000);
      EXPECT_TRUE(fill);
      return -1;
    }
  };
  NoReceive socket(Done(16));
  EXPECT_EQ(
      FailureText<UDPSocketException>([&] { socket.ConnectAndProbe("127.0.0.1", "7", false); }),
      "UDPSocket::Connect - Receive failed");
  EXPECT_EQ(socket.m_key, socket.sent.at(0));
}

// Send

TEST(UDPSocketTest, SendSendsTheWholeBufferToThePeer) {
  Peer peer;
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", std::to_string(peer.Port()), true);
  unsigned int sent = 0;
  EXPECT_EQ(socket.Send("hello", 5, sent, 1000), 5);
  EXPECT_EQ(sent, 5U);
  EXPECT_EQ(peer.Receive(), "hello");
}

TEST(UDPSocketTest, SendGoesOnWhereAPartialSendStopped) {
  ScriptedUDPSocket socket(Done(2), Done(1), Done(4));
  unsigned int sent = 0;
  EXPECT_EQ(socket.Send("abcdefg", 7, sent, 1000), 7);
  EXPECT_EQ(sent, 4U);  // what the last one took
  EXPECT_EQ(socket.sent, (std::vector<std::string>{"abcdefg", "cdefg", "defg"}));
}

TEST(UDPSocketTest, SendStopsWhenNothingIsTaken) {
  ScriptedUDPSocket socket(Done(3), Done(0), Done(4));
  unsigned int sent = 99;
  EXPECT_EQ(socket.Send("abcdefg", 7, sent, 1000), 3);
  EXPECT_EQ(sent, 0U);
  EXPECT_EQ(socket.events, (Events{"send 7", "send 4"}));
}

TEST(UDPSocketTest, SendRepeatsAfterAHarmlessErrorWithoutAWait) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Fails(EAGAIN), Done(3), Fails(EINTR), Fails(0), Done(4));
  unsigned int sent = 0;
  EXPECT_EQ(socket.Send("abcdefg", 7, sent, 1000), 7);
  EXPECT_EQ(sent, 4U);
  EXPECT_EQ(waits.events, (Events{"send 7", "send 7", "send 4", "send 4", "send 4"}));
}

TEST(UDPSocketTest, SendWaitsAtItsStartAndAgainAfterAHarmlessError) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Done(3), Fails(EAGAIN), Done(4));
  socket.m_wait = 1;
  unsigned int sent = 0;
  EXPECT_EQ(socket.Send("abcdefg", 7, sent, 2500), 7);
  EXPECT_EQ(waits.events, (Events{"select 1 reading writing 2.500000", "send 7", "send 4",
                                  "select 1 reading writing 2.500000", "send 4"}));
}

TEST(UDPSocketTest, AfterAHarmlessErrorNothingCountsAsSent) {
  const ScriptedWaits waits(Done(1), Done(0));
  ScriptedUDPSocket socket(Done(3), Fails(EAGAIN));
  socket.m_wait = 1;
  unsigned int sent = 99;
  EXPECT_EQ(
      FailureText<UDPSocketTimeoutException>([&] { socket.Send("abcdefg", 7, sent, 2500); }),
      "UDPSocket::SelectReadWrite - timed out (2500) while writing from the socket on () :: failed "
      "with code 110: Connection timed out");
  EXPECT_EQ(sent, 0U);
}

TEST(UDPSocketTest, SendThatFailsThrows) {
  ScriptedUDPSocket socket(Done(3), Fails(ECONNREFUSED));
  unsigned int sent = 0;
  EXPECT_EQ(FailureText<SocketException>([&] { socket.Send("abcdefg", 7, sent, 1000); }),
            "UDPSocket::CheckSocketStatus - error writing from the socket [] :: failed with code "
            "111: Connection refused");
  EXPECT_EQ(socket.events, (Events{"send 7", "send 4"}));
}

TEST(UDPSocketTest, SendWithoutAWaitFlagWaitsForNothing) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Done(1));
  unsigned int sent = 0;
  EXPECT_EQ(socket.Send("a", 1, sent, 1000), 1);
  EXPECT_EQ(waits.events, Events{"send 1"});
}

TEST(UDPSocketTest, AZeroLengthSendReturnsZeroWithoutTouchingTheSocket) {
  ScriptedUDPSocket socket(Done(5));
  unsigned int sent = 0;
  EXPECT_EQ(socket.Send("", 0, sent, 1000), 0);
  EXPECT_EQ(socket.events, Events());
}

TEST(UDPSocketTest, AZeroLengthSendStillWaitsWhenTheWaitFlagIsSet) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Done(5));
  socket.m_wait = 1;
  unsigned int sent = 0;
  EXPECT_EQ(socket.Send("", 0, sent, 1000), 0);
  EXPECT_EQ(waits.events, Events{"select 1 reading writing 1.000000"});
}

// Receive

TEST(UDPSocketTest, ReceiveTakesOneDatagramWhoseSenderBecomesThePeer) {
  Peer peer;
  Peer other;
  OpenedUDPSocket socket;
  ConnectTo(peer, socket, true);
  other.SendTo(Peer::PortOf(socket.m_descriptor), "hello");
  std::array<char, 16> buffer{};
  unsigned int received = 0;
  EXPECT_EQ(socket.Receive(buffer.data(), 16, received, 1000, false), 5);
  EXPECT_EQ(received, 5U);
  EXPECT_STREQ(buffer.data(), "hello");
  EXPECT_EQ(ntohs(socket.m_peer.sin_port), other.Port());
}

TEST(UDPSocketTest, ADatagramLongerThanTheBufferIsCut) {
  Peer peer;
  OpenedUDPSocket socket;
  ConnectTo(peer, socket, true);
  peer.Answer("hello");
  std::array<char, 16> buffer{};
  unsigned int received = 0;
  EXPECT_EQ(socket.Receive(buffer.data(), 3, received, 1000, false), 3);
  EXPECT_STREQ(buffer.data(), "hel");
}

TEST(UDPSocketTest, ReceiveWithFillOnANonBlockingSocketReturnsTheOneDatagram) {
  Peer peer;
  OpenedUDPSocket socket;
  ConnectTo(peer, socket, true);
  peer.Answer("hello");
  std::array<char, 16> buffer{};
  unsigned int received = 0;
  EXPECT_EQ(socket.Receive(buffer.data(), 16, received, 1000, true), 5);
  EXPECT_EQ(received, 5U);
}

TEST(UDPSocketTest, ReceiveWithFillReadsOnUntilTheBufferIsFull) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Bytes("abc"), Bytes("de"), Bytes("fg"), Bytes("more"));
  socket.m_wait = 1;
  std::array<char, 16> buffer{};
  unsigned int received = 0;
  EXPECT_EQ(socket.Receive(buffer.data(), 7, received, 1000, true), 7);
  EXPECT_EQ(received, 2U);  // what the last read brought
  EXPECT_STREQ(buffer.data(), "abcdefg");
  EXPECT_EQ(waits.events,  // one wait only
            (Events{"select 1 reading 1.000000", "receive 7", "receive 4", "receive 2"}));
}

TEST(UDPSocketTest, OnABlockingSocketAReceiveWithFillWaitsForTheRest) {
  Peer peer;
  OpenedUDPSocket socket;
  ConnectTo(peer, socket, false);
  peer.Answer("abc");
  std::jthread later([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    peer.Answer("defg");
  });
  std::array<char, 16> buffer{};
  unsigned int received = 0;
  EXPECT_EQ(socket.Receive(buffer.data(), 7, received, 50, true), 7);
  EXPECT_STREQ(buffer.data(), "abcdefg");
}

TEST(UDPSocketTest, ReceiveWithoutFillReadsOnce) {
  ScriptedUDPSocket socket(Bytes("abc"), Bytes("de"));
  std::array<char, 16> buffer{};
  unsigned int received = 0;
  EXPECT_EQ(socket.Receive(buffer.data(), 7, received, 1000, false), 3);
  EXPECT_EQ(received, 3U);
  EXPECT_EQ(socket.events, Events{"receive 7"});
}

TEST(UDPSocketTest, ReceiveEndsWithWhatItHasWhenAReadBringsNothing) {
  ScriptedUDPSocket socket(Bytes("abc"), Done(0), Bytes("de"));
  std::array<char, 16> buffer{};
  unsigned int received = 99;
  EXPECT_EQ(socket.Receive(buffer.data(), 7, received, 1000, true), 3);
  EXPECT_EQ(received, 0U);
  EXPECT_EQ(socket.events, (Events{"receive 7", "receive 4"}));
}

TEST(UDPSocketTest, ReceiveEndsWithWhatItHasAfterAHarmlessError) {
  for (const int error : {0, EINTR, EAGAIN}) {
    ScriptedUDPSocket socket(Bytes("abc"), Fails(error), Bytes("de"));
    std::array<char, 16> buffer{};
    unsigned int received = 99;
    EXPECT_EQ(socket.Receive(buffer.data(), 7, received, 1000, true), 3);
    EXPECT_EQ(received, 3U);
    EXPECT_EQ(socket.events, (Events{"receive 7", "receive 4"}));
  }
}

TEST(UDPSocketTest, ReceiveThatFailsThrows) {
  ScriptedUDPSocket socket(Fails(ECONNREFUSED));
  std::array<char, 16> buffer{};
  unsigned int received = 0;
  EXPECT_EQ(FailureText<SocketException>(
                [&] { socket.Receive(buffer.data(), 7, received, 1000, false); }),
            "UDPSocket::CheckSocketStatus - error reading from the socket [] :: failed with code "
            "111: Connection refused");
}

TEST(UDPSocketTest, ReceiveWithoutAWaitFlagWaitsForNothing) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Bytes("abc"));
  std::array<char, 16> buffer{};
  unsigned int received = 0;
  EXPECT_EQ(socket.Receive(buffer.data(), 7, received, 1000, false), 3);
  EXPECT_EQ(waits.events, Events{"receive 7"});
}

TEST(UDPSocketTest, AZeroLengthReceiveReturnsZeroWithoutTouchingTheSocket) {
  ScriptedUDPSocket socket(Bytes("abc"));
  char byte = 0;
  unsigned int received = 0;
  EXPECT_EQ(socket.Receive(&byte, 0, received, 1000, true), 0);
  EXPECT_EQ(socket.events, Events());
}

TEST(UDPSocketTest, AZeroLengthReceiveStillWaitsWhenTheWaitFlagIsSet) {
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", "53", true);
  char byte = 0;
  unsigned int received = 0;
  EXPECT_EQ(FailureText<UDPSocketTimeoutException>(
                [&] { socket.Receive(&byte, 0, received, 50, false); }),
            "UDPSocket::SelectReadWrite - timed out (50) while reading from the socket on () :: "
            "failed with code 110: Connection timed out");
}

TEST(UDPSocketTest, TheRawTransfersReturnTheResultOfTheSystemCall) {
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", "53", true);
  std::array<char, 4> buffer{};
  EXPECT_EQ(socket.ReceiveRaw(buffer.data(), 4), -1);
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_EQ(socket.SendRaw("abc", 3), 3);
  EXPECT_EQ(socket.SendRaw("", 0), 0);
}

// SelectReadWrite

TEST(UDPSocketTest, AWaitOf5000MillisecondsWithoutTrafficTimesOutAfterAbout5Seconds) {
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", "53", true);
  std::array<char, 16> buffer{};
  unsigned int received = 0;
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(FailureText<UDPSocketTimeoutException>(
                [&] { socket.Receive(buffer.data(), 16, received, 5000, false); }),
            "UDPSocket::SelectReadWrite - timed out (5000) while reading from the socket on () :: "
            "failed with code 110: Connection timed out");
  EXPECT_GE(MillisecondsSince(start), 4990);
  EXPECT_LT(MillisecondsSince(start), 15000);
}

TEST(UDPSocketTest, AWaitThatRunsOutNamesTheTimeoutTheDirectionAndThePeer) {
  const struct {
    bool reading;
    int timeoutMs;
    const char* peer;
    const char* text;
  } rows[] = {
      {true, 250, "",
       "UDPSocket::SelectReadWrite - timed out (250) while reading from the socket on () :: failed "
       "with code 110: Connection timed out"},
      {false, 60000, "192.0.2.1",
       "UDPSocket::SelectReadWrite - timed out (60000) while writing from the socket on "
       "(192.0.2.1) :: failed with code 110: Connection timed out"},
      {true, 0, "%s",
       "UDPSocket::SelectReadWrite - timed out (0) while reading from the socket on (%s) :: failed "
       "with code 110: Connection timed out"},
  };
  for (const auto& row : rows) {
    const ScriptedWaits waits(Done(0));
    OpenedUDPSocket socket;
    socket.m_peerDescription = row.peer;
    EXPECT_EQ(FailureText<UDPSocketTimeoutException>(
                  [&] { socket.SelectReadWrite(7, row.reading, row.timeoutMs); }),
              row.text);
  }
}

TEST(UDPSocketTest, AWaitPutsTheDescriptorIntoTheReadSetAndForWritingIntoBoth) {
  const ScriptedWaits waits;
  OpenedUDPSocket socket;
  EXPECT_EQ(socket.SelectReadWrite(7, true, 5000), 1);
  EXPECT_EQ(socket.SelectReadWrite(7, false, 5000), 1);
  EXPECT_EQ(socket.SelectReadWrite(0, false, 5000), 1);
  EXPECT_EQ(waits.events, (Events{"select 8 reading 5.000000", "select 8 reading writing 5.000000",
                                  "select 1 reading writing 5.000000"}));
}

TEST(UDPSocketTest, TheTimeoutIsSplitIntoSecondsAndMicrosecondsAndBelow1WaitsWithoutLimit) {
  const struct {
    int timeoutMs;
    const char* event;
  } rows[] = {
      {1, "select 8 reading 0.001000"},     {999, "select 8 reading 0.999000"},
      {1000, "select 8 reading 1.000000"},  {61001, "select 8 reading 61.001000"},
      {0, "select 8 reading forever"},      {-1, "select 8 reading forever"},
      {-60000, "select 8 reading forever"},
  };
  for (const auto& row : rows) {
    const ScriptedWaits waits;
    OpenedUDPSocket socket;
    EXPECT_EQ(socket.SelectReadWrite(7, true, row.timeoutMs), 1);
    EXPECT_EQ(waits.events, Events{row.event});
  }
}

TEST(UDPSocketTest, AWaitReturnsTheNumberOfReadyDescriptors) {
  std::array<int, 2> ends{};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
  OpenedUDPSocket socket;
  EXPECT_EQ(socket.SelectReadWrite(ends[0], false, 1000), 1);  // writable
  ASSERT_EQ(write(ends[1], "x", 1), 1);
  EXPECT_EQ(socket.SelectReadWrite(ends[0], true, 1000), 1);   // readable
  EXPECT_EQ(socket.SelectReadWrite(ends[0], false, 1000), 2);  // both
  close(ends[0]);
  close(ends[1]);
}

TEST(UDPSocketTest, AWaitToWriteEndsToWhenTheSocketCanBeRead) {
  std::array<int, 2> ends{};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
  const std::string block(65536, 'x');
  while (send(ends[0], block.data(), block.size(), MSG_DONTWAIT) > 0) {
  }
  OpenedUDPSocket socket;
  EXPECT_EQ(
      FailureText<UDPSocketTimeoutException>([&] { socket.SelectReadWrite(ends[0], false, 50); }),
      "UDPSocket::SelectReadWrite - timed out (50) while writing from the socket on () :: "
      "failed with code 110: Connection timed out");
  ASSERT_EQ(write(ends[1], "x", 1), 1);
  EXPECT_EQ(socket.SelectReadWrite(ends[0], false, 1000), 1);
  close(ends[0]);
  close(ends[1]);
}

TEST(UDPSocketTest, AWaitWithoutLimitEndsWithTheTraffic) {
  for (const int timeoutMs : {0, -1}) {
    Peer peer;
    OpenedUDPSocket socket;
    ConnectTo(peer, socket, true);
    std::jthread sender([&] {
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
      peer.Answer("x");
    });
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(socket.SelectReadWrite(socket.m_descriptor, true, timeoutMs), 1);
    EXPECT_GE(MillisecondsSince(start), 250);
  }
}

TEST(UDPSocketTest, AnInterruptedWaitStartsAgainWithNewSetsAndTheFullTimeout) {
  const ScriptedWaits waits(Fails(EINTR), Fails(EINTR), Done(2));
  OpenedUDPSocket socket;
  EXPECT_EQ(socket.SelectReadWrite(7, false, 5000), 2);
  EXPECT_EQ(waits.events,
            (Events{"select 8 reading writing 5.000000", "select 8 reading writing 5.000000",
                    "select 8 reading writing 5.000000"}));
}

TEST(UDPSocketTest, ASignalMakesTheWaitTakeItsFullTimeoutAgain) {
  struct sigaction action {};
  struct sigaction old {};
  action.sa_handler = [](int) {};
  sigaction(SIGALRM, &action, &old);
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", "53", true);
  const Clock::time_point start = Clock::now();
  const itimerval after150ms{.it_interval = {}, .it_value = {.tv_sec = 0, .tv_usec = 150000}};
  setitimer(ITIMER_REAL, &after150ms, nullptr);
  EXPECT_THROW(socket.SelectReadWrite(socket.m_descriptor, true, 300), UDPSocketTimeoutException);
  EXPECT_GE(MillisecondsSince(start), 440);
  EXPECT_LT(MillisecondsSince(start), 10000);
  sigaction(SIGALRM, &old, nullptr);
}

TEST(UDPSocketTest, AWaitThatFailsWithoutAnErrorNumberReturnsZero) {
  const ScriptedWaits waits(Fails(0));
  OpenedUDPSocket socket;
  EXPECT_EQ(socket.SelectReadWrite(7, true, 5000), 0);
  EXPECT_EQ(waits.events.size(), 1U);
}

TEST(UDPSocketTest, AWaitWithoutLimitThatFindsNothingReturnsZero) {
  const ScriptedWaits waits(Done(0));
  OpenedUDPSocket socket;
  EXPECT_EQ(socket.SelectReadWrite(7, true, -1), 0);
}

TEST(UDPSocketTest, AWaitThatFailsThrowsItsResult) {
  OpenedUDPSocket socket;
  const int closed = dup(STDERR_FILENO);
  close(closed);
  EXPECT_EQ(FailureText<SocketException>([&] { socket.SelectReadWrite(closed, true, 1000); }),
            "UDPSocket::SelectReadWrite - result -1 while reading from the socket on () :: failed "
            "with code 9: Bad file descriptor");
  socket.m_peerDescription = "192.0.2.1";
  EXPECT_EQ(FailureText<SocketException>([&] { socket.SelectReadWrite(closed, false, 1000); }),
            "UDPSocket::SelectReadWrite - result -1 while writing from the socket on (192.0.2.1) "
            ":: failed with code 9: Bad file descriptor");
}

TEST(UDPSocketTest, ANegativeDescriptorMakesAWaitFail) {
  OpenedUDPSocket socket;
  EXPECT_EQ(FailureText<SocketException>([&] { socket.SelectReadWrite(-1, true, 1000); }),
            "UDPSocket::SelectReadWrite - result -1 while reading from the socket on () :: failed "
            "with code 9: Bad file descriptor");
}

TEST(UDPSocketTest, ADescriptorAbove1023IsNotWaitedFor) {
  const ScriptedWaits waits;
  OpenedUDPSocket socket;
  const struct {
    bool reading;
    int error;  // before the call
    const char* text;
  } rows[] = {
      {true, 0,
       "UDPSocket::SelectReadWrite - socket handle exceeds FD_SETSIZE :: failed with code 0: "
       "Success"},
      {false, 2,
       "UDPSocket::SelectReadWrite - socket handle exceeds FD_SETSIZE :: failed with code 2: "
       "No such file or directory"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(FailureText<SocketException>([&] {
                errno = row.error;
                socket.SelectReadWrite(1024, row.reading, 5000);
              }),
              row.text);
  }
  EXPECT_EQ(waits.events, Events());
  EXPECT_EQ(socket.SelectReadWrite(1023, true, 5000), 1);
  EXPECT_EQ(waits.events, Events{"select 1024 reading 5.000000"});
}

TEST(UDPSocketTest, ADescriptorOf1024OrMoreMakesEveryTimedWaitFail) {
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", "53", true);
  const std::optional<int> high = CopyFrom(1024, socket.m_descriptor);
  if (!high) {
    GTEST_SKIP() << "this machine forbids a process so many descriptors";
  }
  close(socket.m_descriptor);
  socket.m_descriptor = *high;
  const std::string text =
      "UDPSocket::SelectReadWrite - socket handle exceeds FD_SETSIZE :: failed with code 0: "
      "Success";
  std::array<char, 16> buffer{};
  unsigned int moved = 0;
  errno = 0;
  EXPECT_EQ(
      FailureText<SocketException>([&] { socket.Receive(buffer.data(), 16, moved, 50, false); }),
      text);
  errno = 0;
  EXPECT_EQ(FailureText<SocketException>([&] { socket.Send("x", 1, moved, 50); }), text);
}

TEST(UDPSocketTest, ADescriptorOf1023CanBeWaitedFor) {
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", "53", true);
  const std::optional<int> highest = CopyFrom(1023, socket.m_descriptor);
  if (highest != 1023) {
    GTEST_SKIP() << "this machine forbids a process that descriptor";
  }
  EXPECT_EQ(socket.SelectReadWrite(1023, false, 1000), 1);
  EXPECT_THROW(socket.SelectReadWrite(1023, true, 10), UDPSocketTimeoutException);
  close(1023);
}

// CheckSocketStatus

TEST(UDPSocketTest, CheckSocketStatusReturnsAHarmlessErrorNumber) {
  OpenedUDPSocket socket;
  for (const int error : {0, 4, 11}) {
    for (const bool reading : {true, false}) {
      errno = error;
      EXPECT_EQ(socket.CheckSocketStatus(reading), error);
    }
  }
}

TEST(UDPSocketTest, CheckSocketStatusThrowsTheTextOfTheErrorNumbersClass) {
  const struct {
    int error;
    bool reading;
    const char* peer;
    const char* text;
  } rows[] = {
      {32, true, "",
       "UDPSocket::CheckSocketStatus - connection error reading from the socket [] :: failed with "
       "code 32: Broken pipe"},
      {32, false, "192.0.2.1",
       "UDPSocket::CheckSocketStatus - connection error writing from the socket [192.0.2.1] :: "
       "failed with code 32: Broken pipe"},
      {103, true, "",
       "UDPSocket::CheckSocketStatus - connection error reading from the socket [] :: failed with "
       "code 103: Software caused connection abort"},
      {104, false, "",
       "UDPSocket::CheckSocketStatus - connection error writing from the socket [] :: failed with "
       "code 104: Connection reset by peer"},
      {110, true, "",
       "UDPSocket::CheckSocketStatus - timed out while reading from the socket [] :: failed with "
       "code 110: Connection timed out"},
      {110, false, "%d",
       "UDPSocket::CheckSocketStatus - timed out while writing from the socket [%d] :: failed with "
       "code 110: Connection timed out"},
      {9, true, "",
       "UDPSocket::CheckSocketStatus - error reading from the socket [] :: failed with code 9: Bad "
       "file descriptor"},
      {111, false, "192.0.2.1",
       "UDPSocket::CheckSocketStatus - error writing from the socket [192.0.2.1] :: failed with "
       "code 111: Connection refused"},
      {1, true, "",
       "UDPSocket::CheckSocketStatus - error reading from the socket [] :: failed with code 1: "
       "Operation not permitted"},
  };
  for (const auto& row : rows) {
    OpenedUDPSocket socket;
    socket.m_peerDescription = row.peer;
    EXPECT_EQ(FailureText<SocketException>([&] {
                errno = row.error;
                socket.CheckSocketStatus(row.reading);
              }),
              row.text);
  }
}

TEST(UDPSocketTest, TheFailuresOfTheSystemCallsAreClassified) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  OpenedUDPSocket socket(ends[0]);
  std::array<char, 16> buffer{};
  unsigned int moved = 0;
  EXPECT_EQ(
      FailureText<SocketException>([&] { socket.Receive(buffer.data(), 16, moved, 1000, false); }),
      "UDPSocket::CheckSocketStatus - error reading from the socket [] :: failed with code "
      "88: Socket operation on non-socket");
  EXPECT_EQ(FailureText<SocketException>([&] { socket.Send("x", 1, moved, 1000); }),
            "UDPSocket::CheckSocketStatus - error writing from the socket [] :: failed with code "
            "88: Socket operation on non-socket");
  close(ends[1]);
}

// Listen

TEST(UDPSocketTest, ListenBindsToThePortOnAllAddresses) {
  for (const int port : {53, 1023, 5353}) {
    OpenedUDPSocket socket;
    EXPECT_TRUE(socket.Listen(std::to_string(port)));
    EXPECT_EQ(socket.m_port, port);
    EXPECT_FALSE(IsNonBlocking(socket.m_descriptor));
    EXPECT_EQ(socket.m_wait, 0);
    sockaddr_in name{};
    socklen_t length = sizeof(name);
    getsockname(socket.m_descriptor, reinterpret_cast<sockaddr*>(&name), &length);
    EXPECT_EQ(name.sin_family, AF_INET);
    EXPECT_EQ(ntohs(name.sin_port), port);
    EXPECT_EQ(name.sin_addr.s_addr, 0U);
  }
}

TEST(UDPSocketTest, ListenMakesABlockingSocketThroughCreateSocket) {
  CreationRecorder socket;
  socket.Listen("5353");
  EXPECT_EQ(socket.created, Events{"2 2 17 0"});
}

TEST(UDPSocketTest, ListenTwiceReturnsTrueTheSecondTimeWithoutBindingAgain) {
  OpenedUDPSocket socket;
  EXPECT_TRUE(socket.Listen("5353"));
  const int descriptor = socket.m_descriptor;
  const ScriptedIdentity identity;
  EXPECT_TRUE(socket.Listen("53"));
  EXPECT_EQ(identity.events, Events());
  EXPECT_EQ(socket.m_descriptor, descriptor);
  EXPECT_EQ(socket.m_port, 5353);
  EXPECT_EQ(Peer::PortOf(descriptor), 5353);
}

TEST(UDPSocketTest, ListenOnAnOpenSocketDoesNothing) {
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", "99", false);
  EXPECT_TRUE(socket.Listen("5353"));
  EXPECT_EQ(socket.m_port, 99);
  EXPECT_EQ(Peer::PortOf(socket.m_descriptor), 0);
}

TEST(UDPSocketTest, ListenTakesADescriptorBelow0ForNone) {
  OpenedUDPSocket socket(-1);
  EXPECT_TRUE(socket.Listen("5353"));
  EXPECT_GT(socket.m_descriptor, 0);
  EXPECT_EQ(Peer::PortOf(socket.m_descriptor), 5353);
}

TEST(UDPSocketTest, ListenThrowsWhenThePortIsTaken) {
  for (const char* const port : {"53", "5353"}) {
    OpenedUDPSocket first;
    first.Listen(port);
    OpenedUDPSocket second;
    EXPECT_EQ(FailureText<SocketException>([&] { second.Listen(port); }),
              "Listen - bind :: failed with code 98: Address already in use");
    EXPECT_EQ(second.m_port, 0);
  }
}

TEST(UDPSocketTest, AfterABindThatFailedTheSocketIsOpenUnboundAndToBeDestroyedFirst) {
  OpenedUDPSocket first;
  first.Listen("5353");
  OpenedUDPSocket second;
  EXPECT_THROW(second.Listen("5353"), SocketException);
  EXPECT_TRUE(IsOpen(second.m_descriptor));
  first.Destroy();
  EXPECT_TRUE(second.Listen("5353"));  // for it is open
  EXPECT_EQ(Peer::PortOf(second.m_descriptor), 0);
  second.Destroy();
  EXPECT_TRUE(second.Listen("5353"));
  EXPECT_EQ(Peer::PortOf(second.m_descriptor), 5353);
}

TEST(UDPSocketTest, SaveIdentityReadsTheFourIdsAndAppliesTheRestoringPairOnce) {
  ScriptedIdentity identity;
  UDPSocket::SaveIdentity();
  EXPECT_EQ(identity.events, (Events{"setreuid 11 12", "setregid 13 14"}));
}

TEST(UDPSocketTest, ListenOnAPrivilegedPortSwapsTheIdsForTheBind) {
  for (const char* const port : {"0", "53", "1023"}) {
    ScriptedIdentity identity;
    UDPSocket::SaveIdentity();
    identity.events.clear();
    OpenedUDPSocket socket;
    EXPECT_TRUE(socket.Listen(port));
    EXPECT_EQ(identity.events, (Events{"setreuid 12 11", "setregid 14 13", "bind", "setreuid 11 12",
                                       "setregid 13 14"}))
        << port;
  }
}

TEST(UDPSocketTest, ListenOnAPortAbove1023ChangesNoId) {
  for (const char* const port : {"1024", "65535"}) {
    ScriptedIdentity identity;
    UDPSocket::SaveIdentity();
    identity.events.clear();
    OpenedUDPSocket socket;
    EXPECT_TRUE(socket.Listen(port));
    EXPECT_EQ(identity.events, Events{"bind"}) << port;
  }
}

TEST(UDPSocketTest, ListenReadsItsPortAsConnectDoes) {
  const struct {
    const char* text;
    int port;
    std::size_t events;  // the bind, with four changes of ids for a privileged port
  } rows[] = {{" 5353x", 5353, 1}, {"65589", 53, 5}, {"", 0, 5}};
  for (const auto& row : rows) {
    ScriptedIdentity identity;
    UDPSocket::SaveIdentity();
    identity.events.clear();
    OpenedUDPSocket socket;
    EXPECT_TRUE(socket.Listen(row.text));
    EXPECT_EQ(socket.m_port, row.port) << row.text;
    EXPECT_EQ(identity.events.size(), row.events) << row.text;
  }
}

TEST(UDPSocketTest, ListenLeavesTheIdsSwappedWhenTheBindFails) {
  OpenedUDPSocket first;
  first.Listen("53");
  ScriptedIdentity identity;
  UDPSocket::SaveIdentity();
  identity.events.clear();
  OpenedUDPSocket second;
  EXPECT_THROW(second.Listen("53"), SocketException);
  EXPECT_EQ(identity.events, (Events{"setreuid 12 11", "setregid 14 13", "bind"}));
}

TEST(UDPSocketTest, ListenThatGetsNoSocketChangesNoId) {
  ScriptedIdentity identity;
  UDPSocket::SaveIdentity();
  identity.events.clear();
  NoSocket socket;
  EXPECT_THROW(socket.Listen("53"), SocketException);
  EXPECT_EQ(identity.events, Events());
}

TEST(UDPSocketTest, ListenUsesTheIdsSavedAndNotThoseOfTheMoment) {
  ScriptedIdentity identity;
  UDPSocket::SaveIdentity();
  identity.events.clear();
  identity.realUser = identity.effectiveUser = 99;
  identity.realGroup = identity.effectiveGroup = 99;
  OpenedUDPSocket socket;
  socket.Listen("53");
  EXPECT_EQ(identity.events.at(0), "setreuid 12 11");
  EXPECT_EQ(identity.events.at(1), "setregid 14 13");
}

TEST(UDPSocketTest, BeforeSaveIdentityListenChangesNoId) {
  ScriptedIdentity identity;
  OpenedUDPSocket socket;
  EXPECT_TRUE(socket.Listen("53"));
  for (const std::string& event : identity.events) {
    EXPECT_TRUE(event == "bind" || event == "setreuid -1 -1" || event == "setregid -1 -1") << event;
  }
}

// Accept

namespace {

struct Server {
  Server() { listener.Listen("0"); }
  int Port() const { return Peer::PortOf(listener.m_descriptor); }
  OpenedUDPSocket listener;
};

}  // namespace

TEST(UDPSocketTest, AcceptPrintsTheDatagramAndEchoesIt) {
  for (const bool flag : {false, true}) {
    Server server;
    Peer client;
    client.SendTo(server.Port(), "hello");
    OpenedUDPSocket reply;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(server.listener.Accept(reply, flag));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              Print("Received packet from 127.0.0.1:%d\nData: hello\n", client.Port()));
    EXPECT_EQ(client.Receive(), "hello");

    EXPECT_NE(reply.m_descriptor, server.listener.m_descriptor);
    EXPECT_EQ(IsNonBlocking(reply.m_descriptor), flag);
    EXPECT_EQ(reply.m_wait != 0, flag);
    EXPECT_EQ(reply.m_peer.sin_family, AF_INET);
    EXPECT_EQ(ntohs(reply.m_peer.sin_port), client.Port());
    EXPECT_EQ(reply.m_peer.sin_addr.s_addr, inet_addr("127.0.0.1"));
  }
}

TEST(UDPSocketTest, AcceptMakesTheReplySocketThroughItsCreateSocket) {
  for (const bool flag : {false, true}) {
    Server server;
    Peer client;
    client.SendTo(server.Port(), "hello");
    CreationRecorder reply;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(server.listener.Accept(reply, flag));
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(reply.created, Events{flag ? "2 2 17 1" : "2 2 17 0"});
  }
}

TEST(UDPSocketTest, AcceptDrawsARandomTextOf16CharactersAndKeepsNone) {
  Server server;
  Peer client;
  client.SendTo(server.Port(), "hello");
  OpenedUDPSocket reply;
  Seed(4711);
  testing::internal::CaptureStdout();
  EXPECT_TRUE(server.listener.Accept(reply, false));
  testing::internal::GetCapturedStdout();
  const int next = std::rand();
  EXPECT_EQ(reply.m_key, "");
  std::srand(4711);
  for (int i = 0; i < 16; ++i) {
    std::rand();
  }
  EXPECT_EQ(next, std::rand());
}

TEST(UDPSocketTest, TheEchoGoesThroughTheReplySocketWith60Seconds) {
  class Recorder : public OpenedUDPSocket {
   public:
    int Send(const char* buffer, unsigned int length, unsigned int& sent, int timeoutMs) override {
      calls.push_back(std::string(buffer, length) + " " + std::to_string(timeoutMs));
      return OpenedUDPSocket::Send(buffer, length, sent, timeoutMs);
    }
    std::vector<std::string> calls;
  };
  Server server;
  Peer client;
  client.SendTo(server.Port(), "hello");
  server.listener.m_wait = 1;
  Recorder reply;
  const ScriptedWaits waits;
  testing::internal::CaptureStdout();
  EXPECT_TRUE(server.listener.Accept(reply, true));
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(reply.calls, std::vector<std::string>{"hello 60000"});
  EXPECT_EQ(waits.events,  // none for the listening socket
            Events{Print("select %d reading writing 60.000000", reply.m_descriptor + 1)});
}

TEST(UDPSocketTest, AcceptServesOneDatagramOfUpTo1024Bytes) {
  Server server;
  Peer client;
  client.SendTo(server.Port(), std::string(1024, 'a') + "cut");
  client.SendTo(server.Port(), "second");
  OpenedUDPSocket reply;
  testing::internal::CaptureStdout();
  EXPECT_TRUE(server.listener.Accept(reply, false));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            Print("Received packet from 127.0.0.1:%d\n", client.Port()) +
                "Data: " + std::string(1024, 'a') + "\n");
  EXPECT_EQ(client.Receive(), std::string(1024, 'a'));
  EXPECT_FALSE(client.HasDatagram());
}

TEST(UDPSocketTest, AcceptPrintsUpToAZeroByteAndEchoesEverything) {
  const std::string data("ab\0%s", 5);
  Server server;
  Peer client;
  client.SendTo(server.Port(), data);
  OpenedUDPSocket reply;
  testing::internal::CaptureStdout();
  EXPECT_TRUE(server.listener.Accept(reply, false));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            Print("Received packet from 127.0.0.1:%d\nData: ab\n", client.Port()));
  EXPECT_EQ(client.Receive(), data);
}

TEST(UDPSocketTest, AcceptOfAnEmptyDatagramSendsNothingBackAndReturnsFalse) {
  Server server;
  Peer client;
  client.SendTo(server.Port(), "");
  OpenedUDPSocket reply;
  testing::internal::CaptureStdout();
  EXPECT_FALSE(server.listener.Accept(reply, false));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            Print("Received packet from 127.0.0.1:%d\nData: \n", client.Port()));
  EXPECT_FALSE(client.HasDatagram());
}

TEST(UDPSocketTest, AcceptThrowsWhenNothingCanBeReceived) {
  OpenedUDPSocket listener(-1);
  OpenedUDPSocket reply;
  testing::internal::CaptureStdout();
  EXPECT_EQ(FailureText<SocketException>([&] { listener.Accept(reply, false); }),
            "UDPSocket::Accept - recvfrom :: failed with code 9: Bad file descriptor");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(reply.m_descriptor, 0);
}

TEST(UDPSocketTest, AcceptHasPrintedTheDatagramWhenThereIsNoReplySocket) {
  Server server;
  Peer client;
  client.SendTo(server.Port(), "hello");
  NoSocket reply;
  testing::internal::CaptureStdout();
  EXPECT_THROW(server.listener.Accept(reply, false), SocketException);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            Print("Received packet from 127.0.0.1:%d\nData: hello\n", client.Port()));
}

// Messages

TEST(UDPSocketTest, SendMessageSendsTheLengthAndThenTheBytes) {
  Peer peer;
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", std::to_string(peer.Port()), true);
  EXPECT_TRUE(socket.SendMessage("hello", 1000));
  EXPECT_EQ(peer.Receive(), std::string("\0\0\0\5", 4));
  EXPECT_EQ(peer.Receive(), "hello");
  EXPECT_TRUE(socket.SendMessage(std::string(258, 'x'), 1000));
  EXPECT_EQ(peer.Receive(), std::string("\0\0\1\2", 4));
  EXPECT_EQ(peer.Receive(), std::string(258, 'x'));
}

TEST(UDPSocketTest, SendMessageWaitsItsTimeoutForTheLengthAnd60SecondsForTheBytes) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Done(4), Done(5));
  socket.m_wait = 1;
  EXPECT_TRUE(socket.SendMessage("hello", 2500));
  EXPECT_EQ(waits.events, (Events{"select 1 reading writing 2.500000", "send 4",
                                  "select 1 reading writing 60.000000", "send 5"}));
}

TEST(UDPSocketTest, SendMessageIsFalseWhenOneOfTheSendsMovesNothing) {
  ScriptedUDPSocket noLength(Done(0), Done(5));
  EXPECT_FALSE(noLength.SendMessage("hello", 1000));
  EXPECT_EQ(noLength.events, Events{"send 4"});
  ScriptedUDPSocket noBytes(Done(4), Done(0));
  EXPECT_FALSE(noBytes.SendMessage("hello", 1000));
  EXPECT_EQ(noBytes.events, (Events{"send 4", "send 5"}));
}

TEST(UDPSocketTest, SendMessageOfAnEmptyMessageIsFalse) {
  ScriptedUDPSocket socket(Done(4));
  EXPECT_FALSE(socket.SendMessage("", 1000));
  EXPECT_EQ(socket.sent, std::vector<std::string>{std::string(4, '\0')});
}

TEST(UDPSocketTest, AMessageGoesThroughThePayloadKeyBothWays) {
  Peer peer;
  OpenedUDPSocket socket;
  ConnectTo(peer, socket, true);
  socket.m_key = "secret";
  EXPECT_TRUE(socket.SendMessage("attack at dawn", 1000));
  EXPECT_EQ(peer.Receive(), std::string("\0\0\0\16", 4));
  EXPECT_EQ(peer.Receive(), "kqvkcj$j~&ck~g");

  peer.Answer(std::string("\0\0\0\16", 4));
  peer.Answer("kqvkcj$j~&ck~g");
  std::string message;
  EXPECT_TRUE(socket.ReceiveMessage(message, 1000));
  EXPECT_EQ(message, "attack at dawn");
}

TEST(UDPSocketTest, ReceiveMessageReceivesTheLengthAndThenThatManyBytes) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Bytes(std::string("\0\0\1\2", 4)), Bytes(std::string(200, 'x')),
                           Bytes(std::string(58, 'y')));
  socket.m_wait = 1;
  std::string message;
  EXPECT_TRUE(socket.ReceiveMessage(message, 2500));
  EXPECT_EQ(message, std::string(200, 'x') + std::string(58, 'y'));
  EXPECT_EQ(waits.events, (Events{"select 1 reading 2.500000", "receive 4",
                                  "select 1 reading 2.500000", "receive 258", "receive 58"}));
}

TEST(UDPSocketTest, ReceiveMessageFillsTheLengthToo) {
  ScriptedUDPSocket socket(Bytes(std::string("\0\0", 2)), Bytes(std::string("\0\2", 2)),
                           Bytes("ab"));
  std::string message;
  EXPECT_TRUE(socket.ReceiveMessage(message, 1000));
  EXPECT_EQ(message, "ab");
}

TEST(UDPSocketTest, ReceiveMessageWaitsForTheBytesOfAnEmptyMessageToo) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Bytes(std::string("\0\0\0\0", 4)));
  socket.m_wait = 1;
  std::string message = "before";
  EXPECT_FALSE(socket.ReceiveMessage(message, 2500));
  EXPECT_EQ(waits.events,
            (Events{"select 1 reading 2.500000", "receive 4", "select 1 reading 2.500000"}));
}

TEST(UDPSocketTest, ReceiveMessageIsFalseAndKeepsTheMessageWhenAReceiveMovesNothing) {
  const auto expectFalse = [](const auto&... outcomes) {
    ScriptedUDPSocket socket(outcomes...);
    std::string message = "before";
    EXPECT_FALSE(socket.ReceiveMessage(message, 1000));
    EXPECT_EQ(message, "before");
  };
  const Outcome five = Bytes(std::string("\0\0\0\5", 4));
  const Outcome none = Bytes(std::string("\0\0\0\0", 4));
  expectFalse(Done(0));
  expectFalse(Fails(EAGAIN));
  expectFalse(five, Done(0));
  expectFalse(five, Fails(EAGAIN));
  expectFalse(none, Bytes("hello"));  // an empty message
}

TEST(UDPSocketTest, ReceiveMessageIsFalseAndKeepsTheMessageWhenOnlyAPartOfItCame) {
  const auto expectFalse = [](const Events& events, const auto&... outcomes) {
    ScriptedUDPSocket socket(outcomes...);
    std::string message = "before";
    EXPECT_FALSE(socket.ReceiveMessage(message, 1000));
    EXPECT_EQ(message, "before");
    EXPECT_EQ(socket.events, events);
  };
  const Outcome five = Bytes(std::string("\0\0\0\5", 4));
  expectFalse({"receive 4", "receive 2"}, Bytes(std::string("\0\0", 2)), Fails(EAGAIN));
  expectFalse({"receive 4", "receive 1"}, Bytes(std::string("\0\0\1", 3)), Fails(EAGAIN),
              Bytes(std::string(256, 'x')));
  expectFalse({"receive 4", "receive 5", "receive 2"}, five, Bytes("abc"), Fails(EAGAIN));
}

TEST(UDPSocketTest, ReceiveMessageTakesTheLongestMessageThatADatagramHolds) {
  ScriptedUDPSocket socket(Bytes(std::string("\0\0\xFF\xE3", 4)), Bytes(std::string(65507, 'x')));
  std::string message;
  EXPECT_TRUE(socket.ReceiveMessage(message, 1000));
  EXPECT_EQ(message, std::string(65507, 'x'));
}

// Lengths above 65507 were refused, and what followed them was left to be read as the next length.
TEST(UDPSocketTest, ReceiveMessageReceivesAsManyBytesAsAnyLengthSays) {
  const struct {
    std::string length;
    unsigned int bytes;
  } rows[] = {{std::string("\0\0\xFF\xE4", 4), 65508U},
              {std::string("\0\1\0\0", 4), 65536U},
              {std::string("\x7F\xFF\xFF\xFF", 4), 2147483647U},
              {std::string("\x80\0\0\0", 4), 2147483648U},
              {std::string("\xFF\xFF\xFF\xFF", 4), 4294967295U}};
  for (const auto& row : rows) {
    const ScriptedWaits waits;
    ScriptedUDPSocket socket(Bytes(row.length), Bytes("hello"), Fails(EAGAIN));
    socket.m_wait = 1;
    std::string message = "before";
    EXPECT_FALSE(socket.ReceiveMessage(message, 2500));  // a part of it came
    EXPECT_EQ(message, "before");
    EXPECT_EQ(waits.events,
              (Events{"select 1 reading 2.500000", "receive 4", "select 1 reading 2.500000",
                      Print("receive %u", row.bytes), Print("receive %u", row.bytes - 5)}));
  }
}

TEST(UDPSocketTest, AMessageMayComeInMoreBytesThanOneDatagramHolds) {
  ScriptedUDPSocket socket(Bytes(std::string("\0\1\0\0", 4)), Bytes(std::string(65507, 'x')),
                           Bytes(std::string(29, 'y')));
  std::string message;
  EXPECT_TRUE(socket.ReceiveMessage(message, 1000));
  EXPECT_TRUE(message == std::string(65507, 'x') + std::string(29, 'y'));
}

TEST(UDPSocketTest, AfterALengthThatNoDatagramHasTheNextMessageIsReceived) {
  Peer peer;
  OpenedUDPSocket socket;
  ConnectTo(peer, socket, true);
  peer.Answer(std::string("\0\1\0\0", 4));
  peer.Answer("hello");
  std::string message = "before";
  EXPECT_FALSE(socket.ReceiveMessage(message, 1000));
  EXPECT_EQ(message, "before");
  peer.Answer(std::string("\0\0\0\4", 4));
  peer.Answer("next");
  EXPECT_TRUE(socket.ReceiveMessage(message, 1000));
  EXPECT_EQ(message, "next");
}

TEST(UDPSocketTest, TheMemoryForAMessageCountsOnlyAsFarAsBytesCome) {
  const auto residentKilobytes = [] {
    rusage use{};
    getrusage(RUSAGE_SELF, &use);
    return use.ru_maxrss;
  };
  const auto before = residentKilobytes();
  ScriptedUDPSocket socket(Bytes(std::string("\x40\0\0\0", 4)), Bytes("hello"), Fails(EAGAIN));
  std::string message;
  EXPECT_FALSE(socket.ReceiveMessage(message, 1000));  // of 1 GiB
  EXPECT_LT(residentKilobytes() - before, 100 * 1024);
}

TEST(UDPSocketTest, ReceiveMessageIsFalseWhenTheMemoryForItCannotBeHad) {
  const LimitedAddressSpace limited;
  ScriptedUDPSocket socket(Bytes(std::string("\xFF\xFF\xFF\xFF", 4)), Bytes("hello"));
  std::string message = "before";
  EXPECT_FALSE(socket.ReceiveMessage(message, 1000));
  EXPECT_EQ(message, "before");
  EXPECT_EQ(socket.events, Events{"receive 4"});
}

TEST(UDPSocketTest, AFailureOfATransferLeavesTheMessageOperations) {
  ScriptedUDPSocket sender(Fails(ECONNRESET));
  EXPECT_THROW(sender.SendMessage("hello", 1000), SocketException);
  ScriptedUDPSocket receiver(Fails(ECONNRESET));
  std::string message;
  EXPECT_THROW(receiver.ReceiveMessage(message, 1000), SocketException);
}
