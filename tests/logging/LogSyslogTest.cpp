#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <type_traits>

#include "framework/config/Environment.h"
#include "framework/logging/LogSyslog.h"
#include "framework/logging/Logger.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/TemporaryDirectory.h"

using fwk::Logger;

namespace {

// A /dev of this process's own, in which only what a test needs of the system log stands.
class OwnDevices {
 public:
  OwnDevices() { EXPECT_EQ(mount("none", "/dev", "tmpfs", 0, nullptr), 0); }
  ~OwnDevices() { umount2("/dev", MNT_DETACH); }
  OwnDevices(const OwnDevices&) = delete;
  OwnDevices& operator=(const OwnDevices&) = delete;
};

// The receiving end of the system log.
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

  // The next message; "nothing" when none has come.
  std::string Next() const {
    std::array<char, 8192> buffer;
    const ssize_t length = recv(m_socket, buffer.data(), buffer.size(), MSG_DONTWAIT);
    return length >= 0 ? std::string(buffer.data(), static_cast<std::size_t>(length)) : "nothing";
  }

 private:
  OwnDevices m_devices;
  int m_socket = socket(AF_UNIX, SOCK_DGRAM, 0);
};

// A message of a user program (1 * 8), informational (6): its time, then identity[process]: line.
void ExpectMessage(const std::string& message, const std::string& identity,
                   const std::string& line) {
  constexpr std::size_t kTime = sizeof("Mar  1 14:05:09 ") - 1;
  EXPECT_EQ(message.substr(0, 4), "<14>");
  EXPECT_EQ(message.substr(std::min(4 + kTime, message.size())),
            identity + "[" + std::to_string(getpid()) + "]: " + line);
}

// Each test logs to the system log, with all prefixes asked for.
class LogSyslogTest : public testing::Test {
 protected:
  LogSyslogTest() { Set(m_directory.Path() + "/", true); }
  ~LogSyslogTest() override {
    Set("/var/log/", false);
    Environment::PRODUCT_NAME = "PRODUCT_NAME";
  }

  TemporaryDirectory m_directory;

 private:
  static void Set(const std::string& location, bool syslog) {
    Logger::Init(location.c_str(), 1, true, true);
    Logger::m_bIncludeLogLevel = true;
    Logger::m_bToFile = true;
    Logger::m_bToConsole = false;
    Logger::m_bSyslog = syslog;
    Logger::m_logFilename = "current.log";
    Logger::m_currentLog = "";
  }
};

}  // namespace

TEST_F(LogSyslogTest, ALineHasIdentityProcessAndLevelButNoDateAndNoThread) {
  const SystemLog log;
  Logger::Log(3, "text %d", 7);
  ExpectMessage(log.Next(), "PRODUCT_NAME", "Info: text 7");
  EXPECT_EQ(log.Next(), "nothing");
}

TEST_F(LogSyslogTest, EveryLevelGoesOutAsInformational) {
  const SystemLog log;
  Logger::m_LogLevel = 0;
  const struct {
    int level;
    const char* line;
  } rows[] = {{0, "DebugThread: text"},
              {1, "Debug: text"},
              {2, "Tracking: text"},
              {3, "Info: text"},
              {4, "Warning: text"},
              {5, "Error: text"},
              {7, "text"}};
  for (const auto& row : rows) {
    Logger::Log(row.level, "text");
    ExpectMessage(log.Next(), "PRODUCT_NAME", row.line);
    Logger::LogSync(row.level, "text");
    ExpectMessage(log.Next(), "PRODUCT_NAME", row.line);
  }
}

TEST_F(LogSyslogTest, TheLevelWordCanBeSwitchedOff) {
  const SystemLog log;
  Logger::m_bIncludeLogLevel = false;
  Logger::Log(3, "text");
  ExpectMessage(log.Next(), "PRODUCT_NAME", "text");
}

TEST_F(LogSyslogTest, TheIdentityIsTheProductNameOfTheMoment) {
  const SystemLog log;
  Environment::PRODUCT_NAME = "mytool";
  Logger::Log(3, "one");
  ExpectMessage(log.Next(), "mytool", "Info: one");
  Environment::PRODUCT_NAME = "other";
  Logger::Log(3, "two");
  ExpectMessage(log.Next(), "other", "Info: two");
}

TEST_F(LogSyslogTest, ALineIsNotTakenForAFormat) {
  const SystemLog log;
  Logger::Log(3, "%s", "100%s %d %n %m");
  ExpectMessage(log.Next(), "PRODUCT_NAME", "Info: 100%s %d %n %m");
}

TEST_F(LogSyslogTest, NothingIsWrittenToTheFile) {
  const SystemLog log;
  Logger::Log(3, "text");
  ExpectMessage(log.Next(), "PRODUCT_NAME", "Info: text");
  EXPECT_TRUE(std::filesystem::is_empty(m_directory.Path()));
}

TEST_F(LogSyslogTest, TheConsoleGetsTheSameLine) {
  const SystemLog log;
  Logger::m_bToConsole = true;
  testing::internal::CaptureStdout();
  Logger::Log(3, "text");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Info: text\n");
  ExpectMessage(log.Next(), "PRODUCT_NAME", "Info: text");
}

TEST_F(LogSyslogTest, WithoutToFileNothingIsSent) {
  const SystemLog log;
  Logger::m_bToFile = false;
  Logger::Log(3, "text");
  EXPECT_EQ(log.Next(), "nothing");
}

TEST_F(LogSyslogTest, AnEmptyLocationSilencesTheSystemLogToo) {
  const SystemLog log;
  Logger::m_sLogFileLocation = "";
  Logger::Log(5, "text");
  EXPECT_EQ(log.Next(), "nothing");
}

TEST_F(LogSyslogTest, TheLiveFileIsRenamedAtTheChangeOfDayInThisModeToo) {
  const SystemLog log;
  m_directory.Write("current.log", "old\n");
  Logger::m_currentLog = m_directory.Path("2024-02-29.log");
  Logger::Log(3, "text");
  EXPECT_EQ(m_directory.Read("2024-02-29.log"), "old\n");
  EXPECT_FALSE(std::filesystem::exists(m_directory.Path("current.log")));
  EXPECT_NE(Logger::m_currentLog, m_directory.Path("2024-02-29.log"));
}

TEST_F(LogSyslogTest, TheLogIsClosedAfterEveryLine) {
  const SystemLog log;
  closelog();
  const std::ptrdiff_t before = OpenDescriptors();
  Logger::Log(3, "text");
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(LogSyslogTest, WithoutASystemLogTheLineGoesToTheConsoleDevice) {
  const OwnDevices devices;
  std::ofstream("/dev/console").close();
  Logger::Log(3, "text");
  std::ifstream console("/dev/console");
  std::string line;
  std::getline(console, line);
  EXPECT_EQ(line, "PRODUCT_NAME[" + std::to_string(getpid()) + "]: Info: text\r");
}

TEST_F(LogSyslogTest, WithoutSystemLogAndConsoleDeviceTheLineIsLostWithoutHarm) {
  const OwnDevices devices;
  Logger::m_bToConsole = true;
  testing::internal::CaptureStdout();
  Logger::Log(3, "text");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Info: text\n");
  EXPECT_TRUE(std::filesystem::is_empty("/dev"));
  EXPECT_TRUE(std::filesystem::is_empty(m_directory.Path()));
}

TEST_F(LogSyslogTest, AHandleThatGoesAwayClosesTheLog) {
  const SystemLog log;
  closelog();
  const std::ptrdiff_t before = OpenDescriptors();
  {
    const fwk::LogSyslog handle;
    openlog("name", LOG_NDELAY, LOG_USER);
    EXPECT_EQ(OpenDescriptors(), before + 1);
  }
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(LogSyslogTest, AHandleIsNeitherCopiedNorMovedAndIsDestroyedThroughItsBase) {
  using Handle = fwk::LogSyslog;
  EXPECT_FALSE(std::is_copy_constructible_v<Handle> || std::is_move_constructible_v<Handle>);
  EXPECT_FALSE(std::is_copy_assignable_v<Handle> || std::is_move_assignable_v<Handle>);
  EXPECT_TRUE(std::has_virtual_destructor_v<Handle>);
}

TEST_F(LogSyslogTest, AHandleOpensAndSendsNothing) {
  const SystemLog log;
  const std::ptrdiff_t before = OpenDescriptors();
  {
    const fwk::LogSyslog handle;
    EXPECT_EQ(OpenDescriptors(), before);
  }
  EXPECT_EQ(log.Next(), "nothing");
}
