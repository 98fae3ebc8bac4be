#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <latch>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "framework/core/Exceptions.h"
#include "framework/net/Socket.h"
#include "tests/support/FailureText.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/OwnProcess.h"
#include "tests/support/RealFunction.h"
#include "tests/support/StreamPair.h"

namespace {

class OpenedSocket : public Socket {
 public:
  explicit OpenedSocket(int descriptor = 0, int timeout = 0) : Socket(descriptor, timeout) {}
  using Socket::ApplyKey;
  using Socket::m_descriptor;
  using Socket::m_key;
  using Socket::m_linger;
  using Socket::m_nonBlocking;
  using Socket::m_port;
  using Socket::m_retryCount;
  using Socket::m_timeout;
  using Socket::m_wait;
  using Socket::ThrowSocketClosed;
  using Socket::ThrowSocketError;
};

class CloseCounter : public OpenedSocket {
 public:
  using OpenedSocket::OpenedSocket;
  int Close() override {
    ++closed;
    return OpenedSocket::Close();
  }
  int closed = 0;
};

int Alive() {
  return Socket::m_nAccessCounter;
}

int NewPipeEnd() {
  std::array<int, 2> ends{};
  EXPECT_EQ(pipe(ends.data()), 0);
  close(ends[1]);
  return ends[0];
}

int NewDatagramSocket() {
  return socket(AF_INET, SOCK_DGRAM, 0);
}

int ClosedDescriptor() {
  const int descriptor = NewDatagramSocket();
  close(descriptor);
  return descriptor;
}

template <typename Value>
Value Option(int descriptor, int option) {
  Value value{};
  socklen_t length = sizeof(value);
  EXPECT_EQ(getsockopt(descriptor, SOL_SOCKET, option, &value, &length), 0);
  return value;
}

// While one exists, no option is set: the calls are noted and end with the results in turn. A
// negative result is an error number.
class ScriptedOptions {
 public:
  explicit ScriptedOptions(const std::vector<int>& results) : m_results(results) { active = this; }
  ~ScriptedOptions() { active = nullptr; }
  ScriptedOptions(const ScriptedOptions&) = delete;
  ScriptedOptions& operator=(const ScriptedOptions&) = delete;

  int Take(int descriptor, int level, int option, const void* value, socklen_t length) {
    const auto* const bytes = static_cast<const char*>(value);
    calls.push_back({descriptor, level, option, std::string(bytes, bytes + length)});
    const int result = m_results.at(calls.size() - 1);
    errno = result < 0 ? -result : errno;
    return result < 0 ? -1 : 0;
  }

  struct Call {
    int descriptor;
    int level;
    int option;
    std::string value;
    bool operator==(const Call&) const = default;
  };

  inline static ScriptedOptions* active = nullptr;
  std::vector<Call> calls;

 private:
  std::vector<int> m_results;
};

// While one exists, calls to read and set the flags of a descriptor only return these results.
class ScriptedFlags {
 public:
  ScriptedFlags(int readResult, int writeResult) : m_read(readResult), m_write(writeResult) {
    active = this;
  }
  ~ScriptedFlags() { active = nullptr; }
  ScriptedFlags(const ScriptedFlags&) = delete;
  ScriptedFlags& operator=(const ScriptedFlags&) = delete;

  int Take(int command) const {
    errno = EPERM;
    return command == F_GETFL ? m_read : m_write;
  }

  inline static const ScriptedFlags* active = nullptr;

 private:
  int m_read;
  int m_write;
};

std::string BytesOf(std::int32_t value) {
  std::string bytes(sizeof(value), '\0');
  std::memcpy(bytes.data(), &value, sizeof(value));
  return bytes;
}

}  // namespace

extern "C" int setsockopt(int descriptor, int level, int option, const void* value,
                          socklen_t length) noexcept {
  static const auto real = RealFunction(&setsockopt, "setsockopt");
  ScriptedOptions* const script = ScriptedOptions::active;
  return script != nullptr ? script->Take(descriptor, level, option, value, length)
                           : real(descriptor, level, option, value, length);
}

// Of the commands used here only two have no argument.
extern "C" int fcntl(int descriptor, int command, ...) {
  static const auto real = RealFunction(&fcntl, "fcntl");
  if (ScriptedFlags::active != nullptr && (command == F_GETFL || command == F_SETFL)) {
    return ScriptedFlags::active->Take(command);
  }
  if (command == F_GETFD || command == F_GETFL) {
    return real(descriptor, command);
  }
  va_list arguments;
  va_start(arguments, command);
  const int argument = va_arg(arguments, int);
  va_end(arguments);
  return real(descriptor, command, argument);
}

TEST(SocketTest, ANewSocketHasItsArgumentsAndTheInitialValues) {
  OpenedSocket socket(-3, 30000);
  EXPECT_EQ(socket.m_linger, 5);
  EXPECT_EQ(socket.m_wait, 0);
  EXPECT_EQ(socket.m_descriptor, -3);
  EXPECT_EQ(socket.m_nonBlocking, 0);
  EXPECT_EQ(socket.m_retryCount, 10);
  EXPECT_EQ(socket.m_timeout, 30000);
  EXPECT_EQ(socket.m_port, 0);
  EXPECT_EQ(socket.m_key, "");
}

TEST(SocketTest, TheAccessCounterIsTheNumberOfObjectsAlive) {
  const int before = Alive();
  {
    const OpenedSocket first;
    EXPECT_EQ(Alive(), before + 1);
    const std::unique_ptr<Socket> second = std::make_unique<OpenedSocket>();
    EXPECT_EQ(Alive(), before + 2);
  }
  EXPECT_EQ(Alive(), before);
}

TEST(SocketTest, TheAccessCounterCountsTheObjectsOfSeveralThreads) {
  const int before = Alive();
  {
    std::latch start(2);
    const auto makeObjects = [&start] {
      start.arrive_and_wait();
      for (int i = 0; i < 10000; ++i) {
        const Socket socket(0, 0);
      }
    };
    const std::jthread first(makeObjects);
    const std::jthread second(makeObjects);
  }
  EXPECT_EQ(Alive(), before);
}

TEST(SocketTest, CreateSocketOpensASocketOfTheWantedKind) {
  OpenedSocket socket;
  socket.CreateSocket(AF_INET, SOCK_DGRAM, IPPROTO_UDP, false);
  EXPECT_GT(socket.m_descriptor, 0);
  EXPECT_EQ(Option<int>(socket.m_descriptor, SO_DOMAIN), AF_INET);
  EXPECT_EQ(Option<int>(socket.m_descriptor, SO_TYPE), SOCK_DGRAM);
  EXPECT_EQ(Option<int>(socket.m_descriptor, SO_PROTOCOL), IPPROTO_UDP);
  EXPECT_FALSE(IsNonBlocking(socket.m_descriptor));
  EXPECT_EQ(socket.m_nonBlocking, 0);
  EXPECT_EQ(socket.m_wait, 0);
}

TEST(SocketTest, CreateSocketMakesANonBlockingSocketWhenAsked) {
  OpenedSocket socket;
  socket.CreateSocket(AF_INET, SOCK_STREAM, 0, true);
  EXPECT_TRUE(IsNonBlocking(socket.m_descriptor));
  EXPECT_EQ(socket.m_nonBlocking, 1);
  EXPECT_EQ(socket.m_wait, 0);
}

TEST(SocketTest, AFailedCreateSocketThrowsAndLeavesTheDescriptorAtMinusOne) {
  OpenedSocket socket;
  EXPECT_EQ(FailureText<SocketException>([&] { socket.CreateSocket(-1, SOCK_DGRAM, 0, true); }),
            "Socket::CreateSocket - socket :: failed with code 97: Address family not supported by "
            "protocol");
  EXPECT_EQ(socket.m_descriptor, -1);
  EXPECT_EQ(socket.m_nonBlocking, 0);
  socket.CreateSocket(AF_INET, SOCK_DGRAM, 0, false);
  EXPECT_GT(socket.m_descriptor, 0);
}

TEST(SocketTest, ANewSocketThatCannotBeMadeNonBlockingIsOpenAndHeld) {
  OpenedSocket socket;
  const ScriptedFlags flags(0, -1);
  EXPECT_EQ(
      FailureText<SocketException>([&] { socket.CreateSocket(AF_INET, SOCK_DGRAM, 0, true); }),
      "Socket::SocketNonBlocking - fcntl :: failed with code 1: Operation not permitted");
  EXPECT_GT(socket.m_descriptor, 0);
  EXPECT_TRUE(IsOpen(socket.m_descriptor));
  EXPECT_EQ(socket.m_nonBlocking, 0);
}

TEST(SocketTest, CreateSocketClosesAnOpenDescriptorThroughClose) {
  const int low = NewDatagramSocket();
  const int old = fcntl(low, F_DUPFD, 100);  // a number that the new socket does not get
  close(low);
  CloseCounter socket(old);
  socket.CreateSocket(AF_INET, SOCK_DGRAM, 0, false);
  EXPECT_EQ(socket.closed, 1);
  EXPECT_FALSE(IsOpen(old));
  EXPECT_TRUE(IsOpen(socket.m_descriptor));
}

// The number 0 means none, so such a socket was never closed.
TEST(SocketTest, WithoutAStandardInputANewSocketIsAboveTheStandardStreams) {
  InOwnProcess([] {
    close(STDIN_FILENO);
    const std::ptrdiff_t before = OpenDescriptors();
    {
      OpenedSocket socket;
      socket.CreateSocket(AF_INET, SOCK_DGRAM, IPPROTO_UDP, true);
      EXPECT_GT(socket.m_descriptor, STDERR_FILENO);
      EXPECT_EQ(Option<int>(socket.m_descriptor, SO_TYPE), SOCK_DGRAM);
      EXPECT_TRUE(IsNonBlocking(socket.m_descriptor));
      EXPECT_FALSE(IsOpen(STDIN_FILENO));
    }
    EXPECT_EQ(OpenDescriptors(), before);
  });
}

TEST(SocketTest, WithoutAStandardInputANewSocketThrowsIfItGetsNoOtherNumber) {
  InOwnProcess([] {
    OpenedSocket socket;
    // Before the descriptors run out: sanitizers open files at the first failure.
    EXPECT_THROW(socket.CreateSocket(-1, SOCK_DGRAM, 0, false), SocketException);
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit few{.rlim_cur = 20, .rlim_max = before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    while (dup(STDIN_FILENO) >= 0) {
    }
    close(STDIN_FILENO);  // now the only number that is free
    EXPECT_EQ(
        FailureText<SocketException>([&] { socket.CreateSocket(AF_INET, SOCK_DGRAM, 0, false); }),
        "Socket::CreateSocket - socket :: failed with code 24: Too many open files");
    EXPECT_EQ(socket.m_descriptor, -1);
    EXPECT_FALSE(IsOpen(STDIN_FILENO));
    setrlimit(RLIMIT_NOFILE, &before);
  });
}

TEST(SocketTest, AGivenDescriptor0MeansNone) {
  InOwnProcess([] {
    { const OpenedSocket socket(0); }
    EXPECT_TRUE(IsOpen(STDIN_FILENO));
    OpenedSocket socket;
    socket.SetSocket(0, false);
    EXPECT_EQ(socket.Close(), 0);
    EXPECT_TRUE(IsOpen(STDIN_FILENO));
  });
}

TEST(SocketTest, SocketNonBlockingWithoutADescriptorChangesStandardInput) {
  InOwnProcess([] {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    dup2(ends[0], STDIN_FILENO);
    OpenedSocket socket;
    socket.SocketNonBlocking(true);
    EXPECT_TRUE(IsNonBlocking(STDIN_FILENO));
  });
}

TEST(SocketTest, SetSocketAdoptsADescriptorWithoutClosingTheOldOne) {
  const int old = NewDatagramSocket();
  const int adopted = NewDatagramSocket();
  CloseCounter socket(old);
  socket.SetSocket(adopted, false);
  EXPECT_EQ(socket.m_descriptor, adopted);
  EXPECT_EQ(socket.closed, 0);
  EXPECT_TRUE(IsOpen(old));
  EXPECT_FALSE(IsNonBlocking(adopted));
  EXPECT_EQ(socket.m_nonBlocking, 0);
  close(old);
}

TEST(SocketTest, SetSocketMakesTheDescriptorNonBlockingWhenAsked) {
  const int adopted = NewDatagramSocket();
  OpenedSocket socket;
  socket.SetSocket(adopted, true);
  EXPECT_TRUE(IsNonBlocking(adopted));
  EXPECT_EQ(socket.m_nonBlocking, 1);
  EXPECT_EQ(socket.m_wait, 0);
}

TEST(SocketTest, SetSocketDoesNotCheckTheDescriptor) {
  OpenedSocket socket;
  socket.SetSocket(-7, false);
  EXPECT_EQ(socket.m_descriptor, -7);
}

TEST(SocketTest, SetSocketMayBeOverridden) {
  class Overriding : public Socket {
   public:
    Overriding() : Socket(0, 0) {}
    void SetSocket(const int& descriptor, bool /*nonBlocking*/) override { adopted = descriptor; }
    int adopted = 0;
  };
  Overriding overriding;
  Socket& socket = overriding;
  socket.SetSocket(7, false);
  EXPECT_EQ(overriding.adopted, 7);
}

TEST(SocketTest, SocketNonBlockingKeepsTheOtherFlags) {
  const int descriptor = NewDatagramSocket();
  fcntl(descriptor, F_SETFL, O_APPEND);
  OpenedSocket socket(descriptor);
  socket.SocketNonBlocking(true);
  EXPECT_EQ(fcntl(descriptor, F_GETFL) & (O_APPEND | O_NONBLOCK), O_APPEND | O_NONBLOCK);
  EXPECT_EQ(socket.m_nonBlocking, 1);
}

TEST(SocketTest, SocketNonBlockingFalseLeavesANonBlockingDescriptorNonBlocking) {
  OpenedSocket socket(NewDatagramSocket());
  socket.SocketNonBlocking(true);
  socket.SocketNonBlocking(false);
  EXPECT_TRUE(IsNonBlocking(socket.m_descriptor));
  EXPECT_EQ(socket.m_nonBlocking, 1);
}

TEST(SocketTest, SocketNonBlockingFalseTouchesNoDescriptor) {
  OpenedSocket socket(-1);
  EXPECT_NO_THROW(socket.SocketNonBlocking(false));
}

TEST(SocketTest, SocketNonBlockingChecksOnlyThatTheFlagsAreSet) {
  OpenedSocket socket(NewDatagramSocket());
  const ScriptedFlags flags(-1, 0);
  EXPECT_NO_THROW(socket.SocketNonBlocking(true));
  EXPECT_EQ(socket.m_nonBlocking, 1);
}

TEST(SocketTest, TheNonBlockingFieldIsNeverReset) {
  OpenedSocket socket;
  socket.CreateSocket(AF_INET, SOCK_DGRAM, 0, true);
  socket.CreateSocket(AF_INET, SOCK_DGRAM, 0, false);
  EXPECT_FALSE(IsNonBlocking(socket.m_descriptor));
  EXPECT_EQ(socket.m_nonBlocking, 1);
}

TEST(SocketTest, AfterAFailedSocketNonBlockingTheDescriptorStaysOpenAndOwned) {
  const int descriptor = open("/", O_PATH);  // its flags can be read but not set
  OpenedSocket socket;
  EXPECT_THROW(socket.SetSocket(descriptor, true), SocketException);
  EXPECT_EQ(socket.m_nonBlocking, 0);
  EXPECT_EQ(socket.m_descriptor, descriptor);
  EXPECT_TRUE(IsOpen(descriptor));
  EXPECT_EQ(socket.Close(), 0);
}

TEST(SocketTest, DestroyClosesASocketThatWasNeverConnected) {
  const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
  OpenedSocket socket(descriptor);
  EXPECT_NO_THROW(socket.Destroy());
  EXPECT_EQ(socket.m_descriptor, 0);
  EXPECT_FALSE(IsOpen(descriptor));
}

TEST(SocketTest, DestroyShutsTheConnectionDown) {
  const StreamPair pair;
  OpenedSocket socket(dup(pair.One()));
  socket.Destroy();
  char byte = 0;
  EXPECT_EQ(recv(pair.Other(), &byte, 1, MSG_DONTWAIT),
            0);  // the end, though the other descriptor is open
  EXPECT_EQ(send(pair.Other(), &byte, 1, MSG_DONTWAIT | MSG_NOSIGNAL), -1);
}

TEST(SocketTest, DestroyMayBeRepeatedAndClosesOnceThroughTheOverriddenClose) {
  CloseCounter socket(NewDatagramSocket());
  socket.Destroy();
  socket.Destroy();
  socket.Destroy();
  EXPECT_EQ(socket.closed, 1);
  EXPECT_EQ(socket.m_descriptor, 0);
}

TEST(SocketTest, DestroyWithoutADescriptorDoesNothing) {
  for (const int none : {0, -1, -5}) {
    CloseCounter socket(none);
    EXPECT_NO_THROW(socket.Destroy());
    EXPECT_EQ(socket.m_descriptor, none);
    EXPECT_EQ(socket.closed, 0);
  }
}

TEST(SocketTest, DestroyThrowsWhenTheShutdownFailsAndTheDescriptorStaysOpen) {
  const int descriptor = NewPipeEnd();
  CloseCounter socket(descriptor);
  EXPECT_EQ(FailureText<SocketException>([&] { socket.Destroy(); }),
            "Socket::Destroy() - shutdown :: failed with code 88: Socket operation on non-socket");
  EXPECT_EQ(socket.m_descriptor, descriptor);
  EXPECT_EQ(socket.closed, 0);
  EXPECT_TRUE(IsOpen(descriptor));
  socket.Close();
}

TEST(SocketTest, TheDestructorClosesTheDescriptor) {
  const int descriptor = NewDatagramSocket();
  std::make_unique<Socket>(descriptor, 0).reset();
  EXPECT_FALSE(IsOpen(descriptor));
}

TEST(SocketTest, AFailureOfDestroyLeavesTheDestructorAndTheObjectStaysCounted) {
  const int before = Alive();
  const int descriptor = NewPipeEnd();
  EXPECT_EQ(FailureText<SocketException>([&] { const Socket socket(descriptor, 0); }),
            "Socket::Destroy() - shutdown :: failed with code 88: Socket operation on non-socket");
  EXPECT_TRUE(IsOpen(descriptor));
  EXPECT_EQ(Alive(), before + 1);
  Socket::m_nAccessCounter = before;  // for the tests after this one
  close(descriptor);
}

TEST(SocketTest, CloseReturnsTheResultAndForgetsTheDescriptor) {
  const int descriptor = NewDatagramSocket();
  OpenedSocket socket(descriptor);
  EXPECT_EQ(socket.Close(), 0);
  EXPECT_EQ(socket.m_descriptor, 0);
  EXPECT_FALSE(IsOpen(descriptor));
}

TEST(SocketTest, CloseReturnsMinusOneForABadDescriptor) {
  OpenedSocket socket(ClosedDescriptor());
  EXPECT_EQ(socket.Close(), -1);
  EXPECT_EQ(socket.m_descriptor, 0);
}

TEST(SocketTest, CloseReturnsADescriptorBelowOneUnchanged) {
  const bool hadInput = IsOpen(STDIN_FILENO);
  for (const int none : {0, -1, -9}) {
    OpenedSocket socket(none);
    EXPECT_EQ(socket.Close(), none);
    EXPECT_EQ(socket.m_descriptor, none);
  }
  EXPECT_EQ(IsOpen(STDIN_FILENO), hadInput);
}

TEST(SocketTest, CloseDoesNotShutTheConnectionDown) {
  const StreamPair pair;
  OpenedSocket socket(dup(pair.One()));
  socket.Close();
  EXPECT_EQ(send(pair.Other(), "x", 1, MSG_DONTWAIT | MSG_NOSIGNAL), 1);
}

TEST(SocketTest, TheOptionSettersSetTheirOption) {
  OpenedSocket socket;
  socket.CreateSocket(AF_INET, SOCK_STREAM, 0, false);
  EXPECT_EQ(Option<int>(socket.m_descriptor, SO_KEEPALIVE), 0);
  EXPECT_EQ(Option<int>(socket.m_descriptor, SO_REUSEADDR), 0);
  EXPECT_EQ(Option<linger>(socket.m_descriptor, SO_LINGER).l_onoff, 0);
  socket.SetSocketOptionsKeepAlive();
  socket.SetSocketOptionsReUseAddress();
  socket.SetSocketOptionsLinger();
  EXPECT_EQ(Option<int>(socket.m_descriptor, SO_KEEPALIVE), 1);
  EXPECT_EQ(Option<int>(socket.m_descriptor, SO_REUSEADDR), 1);
  EXPECT_EQ(Option<linger>(socket.m_descriptor, SO_LINGER).l_onoff, 1);
  EXPECT_EQ(Option<linger>(socket.m_descriptor, SO_LINGER).l_linger, 5);
}

TEST(SocketTest, TheLingerTimeIsTheField) {
  OpenedSocket socket;
  socket.CreateSocket(AF_INET, SOCK_STREAM, 0, false);
  socket.m_linger = 17;
  socket.SetSocketOptionsLinger();
  EXPECT_EQ(Option<linger>(socket.m_descriptor, SO_LINGER).l_linger, 17);
}

TEST(SocketTest, KeepAliveAndReUseAddressPassAFourByteOne) {
  const ScriptedOptions options({0, 0});
  OpenedSocket socket(-1);
  socket.SetSocketOptionsKeepAlive();
  socket.SetSocketOptionsReUseAddress();
  EXPECT_EQ(options.calls,
            (std::vector<ScriptedOptions::Call>{{-1, SOL_SOCKET, SO_KEEPALIVE, BytesOf(1)},
                                                {-1, SOL_SOCKET, SO_REUSEADDR, BytesOf(1)}}));
}

TEST(SocketTest, ReadWritePassesTheBareFourByteTimeoutTwice) {
  const ScriptedOptions options({0, 0});
  OpenedSocket socket(-1, 30000);
  EXPECT_NO_THROW(socket.SetSocketOptionsReadWrite());
  EXPECT_EQ(options.calls,
            (std::vector<ScriptedOptions::Call>{{-1, SOL_SOCKET, SO_RCVTIMEO, BytesOf(30000)},
                                                {-1, SOL_SOCKET, SO_SNDTIMEO, BytesOf(30000)}}));
}

TEST(SocketTest, ReadWriteThrowsAtTheFirstOptionThatFails) {
  const ScriptedOptions options({-EINVAL, 0});
  OpenedSocket socket(-1);
  EXPECT_EQ(FailureText<SocketException>([&] { socket.SetSocketOptionsReadWrite(); }),
            "SetSocketOptionsReadWrite :: failed with code 22: Invalid argument");
  EXPECT_EQ(options.calls.size(), 1U);
  const ScriptedOptions second({0, -EDOM});
  EXPECT_EQ(FailureText<SocketException>([&] { socket.SetSocketOptionsReadWrite(); }),
            "SetSocketOptionsReadWrite :: failed with code 33: Numerical argument out of domain");
}

TEST(SocketTest, ReadWriteThrowsOnAKernelThatWantsATimeval) {
  OpenedSocket socket(NewDatagramSocket(), 30000);
  EXPECT_EQ(FailureText<SocketException>([&] { socket.SetSocketOptionsReadWrite(); }),
            "SetSocketOptionsReadWrite :: failed with code 22: Invalid argument");
}

TEST(SocketTest, ARefusedOptionThrowsTheNameOfItsSetter) {
  const struct {
    void (Socket::*set)();
    const char* text;
  } rows[] = {
      {&Socket::SetSocketOptionsReadWrite,
       "SetSocketOptionsReadWrite :: failed with code 88: Socket operation on non-socket"},
      {&Socket::SetSocketOptionsKeepAlive,
       "SetSocketOptionsKeepAlive :: failed with code 88: Socket operation on non-socket"},
      {&Socket::SetSocketOptionsLinger,
       "SetSocketOptionsLinger :: failed with code 88: Socket operation on non-socket"},
      {&Socket::SetSocketOptionsReUseAddress,
       "SetSocketOptionsReUseAddress :: failed with code 88: Socket operation on non-socket"},
  };
  OpenedSocket socket(NewPipeEnd());
  for (const auto& row : rows) {
    EXPECT_EQ(FailureText<SocketException>([&] { (socket.*row.set)(); }), row.text);
  }
  socket.Close();
}

TEST(SocketTest, ThrowSocketErrorTakesErrnoOnlyForTheCodeZero) {
  OpenedSocket socket;
  EXPECT_EQ(FailureText<SocketException>([&] {
              errno = ENOENT;
              socket.ThrowSocketError("place", 0);
            }),
            "place :: failed with code 2: No such file or directory");
  EXPECT_EQ(FailureText<SocketException>([&] {
              errno = ENOENT;
              socket.ThrowSocketError("place", 110);
            }),
            "place :: failed with code 110: Connection timed out");
  EXPECT_EQ(FailureText<SocketException>([&] {
              errno = 0;
              socket.ThrowSocketError("place", 0);
            }),
            "place :: failed with code 0: Success");
}

TEST(SocketTest, ThrowSocketClosedThrowsTheMessageAlone) {
  OpenedSocket socket;
  EXPECT_EQ(FailureText<SocketClosedException>([&] { socket.ThrowSocketClosed("peer gone"); }),
            "peer gone");
}

TEST(SocketTest, ApplyKeyWithoutAKeyReturnsTheData) {
  const OpenedSocket socket;
  EXPECT_EQ(socket.ApplyKey(std::string("a\0b", 3)), std::string("a\0b", 3));
}

TEST(SocketTest, ApplyKeyRunsTheDataThroughTheCipher) {
  OpenedSocket socket;
  socket.m_key = "secret";
  const std::string encrypted = socket.ApplyKey("attack at dawn");
  EXPECT_EQ(encrypted, "kqvkcj$j~&ck~g");
  EXPECT_EQ(socket.ApplyKey(encrypted), "attack at dawn");
  EXPECT_EQ(socket.ApplyKey(""), "");
}

TEST(SocketTest, TrailingZeroOctetsOfANetworkMatchAnyAddress) {
  const struct {
    const char* network;
    const char* address;
    bool same;
  } rows[] = {
      {"192.168.0.0", "192.168.77.1", true},   {"192.168.1.0", "192.168.77.1", false},
      {"192.168.77.0", "192.168.77.1", true},  {"192.168.77.1", "192.168.77.1", true},
      {"192.168.77.2", "192.168.77.1", false}, {"192.0.0.0", "192.168.77.1", true},
      {"193.0.0.0", "192.168.77.1", false},    {"192.168.77.1", "192.168.77.0", false},
      {"0.0.0.0", "192.168.77.1", false},      {"0.0.0.0", "0.1.2.3", true},
      {"192.0.77.0", "192.168.77.1", false},   {"192.168.0.1", "192.168.77.1", false},
  };
  for (const auto& row : rows) {
    const in_addr_t address = inet_addr(row.address);
    EXPECT_EQ(Socket::IsSameNetwork(inet_addr(row.network), address), row.same)
        << row.network << " " << row.address;
    EXPECT_EQ(Socket::IsSameNetwork(row.network, address), row.same)
        << row.network << " " << row.address;
  }
}

TEST(SocketTest, IsSameNetworkReadsAMalformedNetworkAsAllOnes) {
  EXPECT_TRUE(Socket::IsSameNetwork("junk", inet_addr("255.255.255.255")));
  EXPECT_FALSE(Socket::IsSameNetwork("junk", inet_addr("192.0.2.1")));
}

TEST(SocketTest, ARangeBeginsAtTheUnmaskedNetworkAndHasTwoToThePowerOf32MinusPrefixAddresses) {
  const struct {
    const char* range;
    const char* address;
    bool inside;
  } rows[] = {
      {"10.0.0.0/8", "10.0.0.0", true},
      {"10.0.0.0/8", "10.255.255.255", true},
      {"10.0.0.0/8", "11.0.0.0", false},
      {"10.0.0.0/8", "9.255.255.255", false},
      {"1.2.3.4", "1.2.3.4", true},  // without a slash: that address only
      {"1.2.3.4", "1.2.3.3", false},
      {"1.2.3.4", "1.2.3.5", false},
      {"1.2.3.4/32", "1.2.3.4", true},
      {"1.2.3.4/32", "1.2.3.5", false},
      {"1.2.3.4/31", "1.2.3.5", true},
      {"1.2.3.4/31", "1.2.3.6", false},
      {"1.2.3.4/032", "1.2.3.4", true},
      {"1.2.3.4/", "1.2.3.4", false},  // a bare slash
      {"", "1.2.3.4", false},
      {"/", "1.2.3.4", false},
      {"/8", "0.0.0.1", false},
      {"192.168.1.77/24", "192.168.1.76", false},  // the network is not masked
      {"192.168.1.77/24", "192.168.1.77", true},
      {"192.168.1.77/24", "192.168.2.76", true},
      {"192.168.1.77/24", "192.168.2.77", false},
      {"10.0.0.0/0", "10.0.0.0", false},  // an empty range
      {"10.0.0.0/0", "9.255.255.255", false},
      {"10.0.0.0/33", "10.0.0.0", false},
      {"10.0.0.0/64", "10.0.0.0", false},
      {"10.0.0.0/4294967295", "10.0.0.0", false},
      {"128.0.0.0/1", "255.255.255.255", true},
      {"128.0.0.0/1", "127.255.255.255", false},
      {"128.0.0.0/4294967297", "200.0.0.1", true},  // the prefix wraps to 1
      {"0.0.0.0/8", "0.0.0.1", false},              // the network 0.0.0.0 never matches
      {"0.0.0.0", "0.0.0.0", false},
      {"0.0.0.1/8", "0.255.255.255", true},
      {"255.255.255.255", "255.255.255.255", true},
      {"junk", "255.255.255.255", true},  // a malformed network is 255.255.255.255
      {"junk/32", "255.255.255.255", true},
      {"junk", "1.2.3.4", false},
      {"1.2.3.4.5/32", "1.2.3.4", false},
      {"255.255.255.0/24", "255.255.255.128", true},
      {"255.255.255.1/24", "255.255.255.128", false},  // the end wraps past 255.255.255.255
      {"255.255.255.1/24", "0.0.0.0", false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Socket::IsInRange(row.range, inet_addr(row.address)), row.inside)
        << row.range << " " << row.address;
    EXPECT_EQ(Socket::IsInRange(row.range, row.address), row.inside)
        << row.range << " " << row.address;
  }
}

TEST(SocketTest, IsInRangeReadsAMalformedAddressAsAllOnes) {
  EXPECT_TRUE(Socket::IsInRange("255.255.255.255/32", "junk"));
  EXPECT_FALSE(Socket::IsInRange("192.0.2.0/24", "junk"));
}

TEST(SocketTest, IsInRangeThrowsForAPrefixWithOtherCharactersThanDigits) {
  for (const char* const range :
       {"1.2.3.4/2x", "1.2.3.4/x", "1.2.3.4/-1", "1.2.3.4/+8", "1.2.3.4/ 8", "1.2.3.4/8 ",
        "1.2.3.4/8/8", "1.2.3.4//8", "1.2.3.4/2.4", "junk/x"}) {
    EXPECT_EQ(FailureText<std::invalid_argument>([&] { Socket::IsInRange(range, "1.2.3.4"); }),
              "non-digit character")
        << range;
  }
}

TEST(SocketTest, IsInRangeDoesNotReadThePrefixOfAnEmptyOrZeroNetwork) {
  EXPECT_FALSE(Socket::IsInRange("/x", "1.2.3.4"));
  EXPECT_FALSE(Socket::IsInRange("0.0.0.0/x", "1.2.3.4"));
}

TEST(SocketTest, ReverseAddressJoinsTheOctetsFromLastToFirst) {
  const struct {
    const char* address;
    const char* reversed;
  } rows[] = {{"1.2.3.4", "4.3.2.1"},
              {"0.0.0.0", "0.0.0.0"},
              {"255.0.10.200", "200.10.0.255"},
              {"192.0.2.99", "99.2.0.192"}};
  for (const auto& row : rows) {
    EXPECT_EQ(Socket::ReverseAddress(inet_addr(row.address)), row.reversed);
  }
}

TEST(SocketTest, ThreadsMayReverseAddressesAtOnce) {
  std::latch start(2);
  const auto reverse = [&start](const char* address, const char* reversed) {
    start.arrive_and_wait();
    for (int i = 0; i < 10000; ++i) {
      ASSERT_EQ(Socket::ReverseAddress(inet_addr(address)), reversed);
    }
  };
  const std::jthread first(reverse, "192.0.2.100", "100.2.0.192");
  const std::jthread second(reverse, "255.255.255.254", "254.255.255.255");
}

TEST(SocketTest, IsPublicAddressIsFalseOnlyInPrivateAndLoopbackNetworks) {
  const struct {
    const char* address;
    bool isPublic;
  } rows[] = {
      {"9.255.255.255", true},    {"10.0.0.0", false},        {"10.255.255.255", false},
      {"11.0.0.0", true},         {"126.255.255.255", true},  {"127.0.0.0", false},
      {"127.255.255.255", false}, {"128.0.0.0", true},        {"172.15.255.255", true},
      {"172.16.0.0", false},      {"172.31.0.1", false},      {"172.31.255.255", false},
      {"172.32.0.1", true},       {"172.32.0.0", true},       {"192.167.255.255", true},
      {"192.168.0.0", false},     {"192.168.255.255", false}, {"192.169.0.0", true},
      {"0.0.0.0", true},          {"255.255.255.255", true},  {"169.254.0.1", true},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Socket::IsPublicAddress(inet_addr(row.address)), row.isPublic) << row.address;
  }
}
