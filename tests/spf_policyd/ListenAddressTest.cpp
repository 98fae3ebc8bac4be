#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "framework/core/Exceptions.h"
#include "programs/spf-policyd/ListenAddress.h"
#include "tests/spf_policyd/PolicyClient.h"
#include "tests/support/FailureText.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

// Holds a listening socket.
class Open {
 public:
  explicit Open(const std::string& text) : m_descriptor(ListenAddress(text).Open()) {}
  ~Open() { close(m_descriptor); }

  Open(const Open&) = delete;
  Open& operator=(const Open&) = delete;

  int Flags(int command) const { return fcntl(m_descriptor, command); }

 private:
  int m_descriptor;
};

std::string FaultOf(const std::string& text) {
  return FailureText<StdException>([&] { ListenAddress address(text); });
}

std::string FailureAt(const std::string& text) {
  return FailureText<SocketException>([&] { Open second(text); });
}

constexpr char kNothing[] = "nothing was thrown";

}  // namespace

TEST(ListenAddressTest, AnAddressHasAPort) {
  for (const char* const text : {"127.0.0.1:10040", "0.0.0.0:1", "192.0.2.7:65535"}) {
    EXPECT_EQ(FaultOf(text), kNothing);
  }
  for (const char* const text :
       {"", "127.0.0.1", ":10040", "localhost:10040", "127.0.0.1:", "127.0.0.1:0",
        "127.0.0.1:65536", "127.0.0.1:-1", "127.0.0.1:10040x", "127.0.0.1: 1", "[::1]:10040",
        "127.0.1:1", "127.0.0.1:000001"}) {
    EXPECT_EQ(FaultOf(text), std::string("neither ADDRESS:PORT nor unix:PATH: ") + text);
  }
}

TEST(ListenAddressTest, APathIsAbsoluteAndFitsInASocketAddress) {
  const std::string longest = "unix:/" + std::string(106, 'x');
  EXPECT_EQ(FaultOf(longest), kNothing);
  for (const std::string& text : {longest + "x", std::string("unix:"), std::string("unix:a/b")}) {
    EXPECT_EQ(FaultOf(text), "not an absolute path of at most 107 characters: " + text);
  }
}

TEST(ListenAddressTest, TheSocketIsNonBlockingAndClosedOnExec) {
  const Open socket("127.0.0.1:10040");
  EXPECT_TRUE(socket.Flags(F_GETFL) & O_NONBLOCK);
  EXPECT_TRUE(socket.Flags(F_GETFD) & FD_CLOEXEC);
  PolicyClient client;
}

TEST(ListenAddressTest, AnAddressInUseIsNamed) {
  const Open first("127.0.0.1:10040");
  EXPECT_EQ(FailureAt("127.0.0.1:10040"),
            "cannot listen on 127.0.0.1:10040: bind :: failed with code 98: Address already in "
            "use");
  EXPECT_EQ(FailureAt("127.0.0.2:10040"), kNothing);
}

TEST(ListenAddressTest, AllUsersMayConnectToAUnixSocket) {
  const TemporaryDirectory directory;
  const std::string path = directory.Path("socket");
  umask(077);
  const Open socket("unix:" + path);
  struct stat file {};
  EXPECT_EQ(stat(path.c_str(), &file), 0);
  EXPECT_EQ(file.st_mode & 0777, 0666U);
  PolicyClient client(path);
}

TEST(ListenAddressTest, AUnixSocketWithoutAListenerIsReplaced) {
  const TemporaryDirectory directory;
  const std::string path = directory.Path("socket");
  { const Open gone("unix:" + path); }
  EXPECT_TRUE(std::filesystem::is_socket(path));
  const Open socket("unix:" + path);
  PolicyClient client(path);
}

TEST(ListenAddressTest, ASocketInUseAndAnotherFileAreNotReplaced) {
  const TemporaryDirectory directory;
  const std::string path = directory.Path("socket");
  {
    const Open first("unix:" + path);
    EXPECT_EQ(FailureAt("unix:" + path), "cannot listen on " + path +
                                             ": bind :: failed with code 98: Address already in "
                                             "use");
    PolicyClient client(path);
  }
  directory.Write("file", "text");
  EXPECT_NE(FailureAt("unix:" + directory.Path("file")), kNothing);
  EXPECT_EQ(directory.Read("file"), "text");
}
