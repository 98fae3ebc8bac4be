#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>
#include <vector>

#include "framework/core/Exceptions.h"
#include "programs/spf-policyd/ListenAddress.h"
#include "programs/spf-policyd/ServiceManager.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

using Descriptors = std::vector<int>;

constexpr int kFirst = 3;

// A listening socket in the place of descriptor 3, whatever else that is.
class HandedOver {
 public:
  explicit HandedOver(int replacement) : m_kept(dup(kFirst)) { dup2(replacement, kFirst); }
  ~HandedOver() {
    dup2(m_kept, kFirst);
    close(m_kept);
  }

  HandedOver(const HandedOver&) = delete;
  HandedOver& operator=(const HandedOver&) = delete;

 private:
  int m_kept;
};

void SetVariables(const std::string& process, const char* count) {
  setenv("LISTEN_PID", process.c_str(), 1);
  setenv("LISTEN_FDS", count, 1);
}

// A datagram socket that gets what is said to the manager.
class NotifySocket {
 public:
  explicit NotifySocket(const std::string& path)
      : m_descriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path));
    if (path.front() == '@') {
      address.sun_path[0] = '\0';
    }
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    EXPECT_EQ(bind(m_descriptor, reinterpret_cast<const sockaddr*>(&address), length), 0);
  }
  ~NotifySocket() { close(m_descriptor); }

  NotifySocket(const NotifySocket&) = delete;
  NotifySocket& operator=(const NotifySocket&) = delete;

  std::string Receive() const {
    std::array<char, 100> buffer{};
    const ssize_t length = recv(m_descriptor, buffer.data(), buffer.size(), 0);
    return length < 0 ? "nothing" : std::string(buffer.data(), static_cast<std::size_t>(length));
  }

 private:
  int m_descriptor;
};

}  // namespace

TEST(ServiceManagerTest, WithoutAManagerThereIsNothingToTake) {
  unsetenv("LISTEN_PID");
  unsetenv("LISTEN_FDS");
  EXPECT_EQ(ServiceManager::TakeListeners(), Descriptors());
}

TEST(ServiceManagerTest, WhatIsForAnotherProcessIsNotTaken) {
  SetVariables(std::to_string(getppid()), "1");
  EXPECT_EQ(ServiceManager::TakeListeners(), Descriptors());
}

TEST(ServiceManagerTest, AListenerIsTakenNonBlockingAndNotPassedOn) {
  const int listener = ListenAddress("127.0.0.1:10040").Open();
  fcntl(listener, F_SETFL, 0);
  const HandedOver handed(listener);
  SetVariables(std::to_string(getpid()), "1");
  EXPECT_EQ(ServiceManager::TakeListeners(), Descriptors{kFirst});
  EXPECT_TRUE(fcntl(kFirst, F_GETFL) & O_NONBLOCK);
  EXPECT_TRUE(fcntl(kFirst, F_GETFD) & FD_CLOEXEC);
  close(listener);
}

TEST(ServiceManagerTest, WhatDoesNotListenIsTold) {
  const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  const HandedOver handed(socket);
  SetVariables(std::to_string(getpid()), "1");
  try {
    ServiceManager::TakeListeners();
    ADD_FAILURE();
  } catch (const SocketException& e) {
    EXPECT_STREQ(e.what(), "descriptor 3 of LISTEN_FDS is not a listening socket");
  }
  close(socket);
}

TEST(ServiceManagerTest, ACountThatIsNotOneIsNone) {
  for (const char* const count : {"", "x", "-1", "0"}) {
    SetVariables(std::to_string(getpid()), count);
    EXPECT_EQ(ServiceManager::TakeListeners(), Descriptors()) << count;
  }
}

TEST(ServiceManagerTest, TheManagerIsToldTheState) {
  const TemporaryDirectory directory;
  for (const std::string& path : {directory.Path("notify"), std::string("@spf-policyd-test")}) {
    const NotifySocket manager(path);
    setenv("NOTIFY_SOCKET", path.c_str(), 1);
    ServiceManager::Notify("READY=1");
    EXPECT_EQ(manager.Receive(), "READY=1");
  }
}

TEST(ServiceManagerTest, WithoutAManagerNobodyIsTold) {
  for (const std::string& path :
       {std::string(), std::string("/nonexistent"), "/" + std::string(200, 'x')}) {
    setenv("NOTIFY_SOCKET", path.c_str(), 1);
    ServiceManager::Notify("READY=1");
  }
  unsetenv("NOTIFY_SOCKET");
  ServiceManager::Notify("READY=1");
}
