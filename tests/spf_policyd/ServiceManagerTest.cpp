#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "framework/core/Exceptions.h"
#include "programs/spf-policyd/ListenAddress.h"
#include "programs/spf-policyd/ServiceManager.h"
#include "tests/spf_policyd/DatagramReceiver.h"
#include "tests/support/FailureText.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

using Descriptors = std::vector<int>;

constexpr int kFirst = 3;

// Puts a descriptor in place of descriptor 3 while it exists.
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

}  // namespace

TEST(ServiceManagerTest, WithoutAManagerNothingIsTaken) {
  unsetenv("LISTEN_PID");
  unsetenv("LISTEN_FDS");
  EXPECT_EQ(ServiceManager::TakeListeners(), Descriptors());
}

TEST(ServiceManagerTest, ASocketForAnotherProcessIsNotTaken) {
  SetVariables(std::to_string(getppid()), "1");
  EXPECT_EQ(ServiceManager::TakeListeners(), Descriptors());
}

TEST(ServiceManagerTest, AListenerBecomesNonBlockingAndClosedOnExec) {
  const int listener = ListenAddress("127.0.0.1:10040").Open();
  fcntl(listener, F_SETFL, 0);
  const HandedOver handed(listener);
  SetVariables(std::to_string(getpid()), "1");
  EXPECT_EQ(ServiceManager::TakeListeners(), Descriptors{kFirst});
  EXPECT_TRUE(fcntl(kFirst, F_GETFL) & O_NONBLOCK);
  EXPECT_TRUE(fcntl(kFirst, F_GETFD) & FD_CLOEXEC);
  close(listener);
}

TEST(ServiceManagerTest, ASocketThatDoesNotListenIsRefused) {
  const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  const HandedOver handed(socket);
  SetVariables(std::to_string(getpid()), "1");
  EXPECT_EQ(FailureText<SocketException>(ServiceManager::TakeListeners),
            "descriptor 3 of LISTEN_FDS is not a listening socket");
  close(socket);
}

TEST(ServiceManagerTest, AMalformedCountIsZero) {
  for (const char* const count : {"", "x", "-1", "0"}) {
    SetVariables(std::to_string(getpid()), count);
    EXPECT_EQ(ServiceManager::TakeListeners(), Descriptors()) << count;
  }
}

TEST(ServiceManagerTest, TheManagerGetsTheState) {
  const TemporaryDirectory directory;
  for (const std::string& path : {directory.Path("notify"), std::string("@spf-policyd-test")}) {
    const DatagramReceiver manager(path);
    setenv("NOTIFY_SOCKET", path.c_str(), 1);
    ServiceManager::Notify("READY=1");
    EXPECT_EQ(manager.Receive(), "READY=1");
  }
}

TEST(ServiceManagerTest, WithoutAManagerNothingIsSent) {
  for (const std::string& path :
       {std::string(), std::string("/nonexistent"), "/" + std::string(200, 'x')}) {
    setenv("NOTIFY_SOCKET", path.c_str(), 1);
    ServiceManager::Notify("READY=1");
  }
  unsetenv("NOTIFY_SOCKET");
  ServiceManager::Notify("READY=1");
}
