#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>
#include <type_traits>

#include "framework/config/Environment.h"
#include "framework/logging/LogSyslog.h"
#include "framework/logging/Logger.h"
#include "tests/logging/LoggerSettings.h"
#include "tests/logging/SystemLog.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/OwnMount.h"
#include "tests/support/TemporaryDirectory.h"

using fwk::Logger;

namespace {

// Each test logs to the system log, with all prefixes switched on.
class LogSyslogTest : public testing::Test {
 protected:
  LogSyslogTest() {
    LogPlainLinesTo(m_directory.Path() + "/");
    Logger::m_bIncludeDateTime = true;
    Logger::m_bIncludeThreadID = true;
    Logger::m_bSyslog = true;
  }
  ~LogSyslogTest() override {
    RestoreLogger();
    Environment::PRODUCT_NAME = "PRODUCT_NAME";
  }

  TemporaryDirectory m_directory;
};

}  // namespace

TEST_F(LogSyslogTest, ALineHasIdentityProcessAndLevelButNoDateAndNoThread) {
  const SystemLog log;
  Logger::Log(3, "text %d", 7);
  log.ExpectNext("PRODUCT_NAME", "Info: text 7");
  EXPECT_EQ(log.Next(), "nothing");
}

TEST_F(LogSyslogTest, EveryLevelIsSentAsInformational) {
  const SystemLog log;
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
    log.ExpectNext("PRODUCT_NAME", row.line);
    Logger::LogSync(row.level, "text");
    log.ExpectNext("PRODUCT_NAME", row.line);
  }
}

TEST_F(LogSyslogTest, TheLevelWordCanBeSwitchedOff) {
  const SystemLog log;
  Logger::m_bIncludeLogLevel = false;
  Logger::Log(3, "text");
  log.ExpectNext("PRODUCT_NAME", "text");
}

TEST_F(LogSyslogTest, TheIdentityIsTheProductNameWhenTheLineIsSent) {
  const SystemLog log;
  Environment::PRODUCT_NAME = "mytool";
  Logger::Log(3, "one");
  log.ExpectNext("mytool", "Info: one");
  Environment::PRODUCT_NAME = "other";
  Logger::Log(3, "two");
  log.ExpectNext("other", "Info: two");
}

TEST_F(LogSyslogTest, ALineIsNotTakenForAFormat) {
  const SystemLog log;
  Logger::Log(3, "%s", "100%s %d %n %m");
  log.ExpectNext("PRODUCT_NAME", "Info: 100%s %d %n %m");
}

TEST_F(LogSyslogTest, TheConsoleGetsTheSameLineAndTheFileNothing) {
  const SystemLog log;
  Logger::m_bToConsole = true;
  EXPECT_EQ(CaptureOutput([] { Logger::Log(3, "text"); }), "Info: text\n");
  log.ExpectNext("PRODUCT_NAME", "Info: text");
  EXPECT_TRUE(std::filesystem::is_empty(m_directory.Path()));
}

TEST_F(LogSyslogTest, WithoutToFileOrWithoutALocationNothingIsSent) {
  const SystemLog log;
  Logger::m_bToFile = false;
  Logger::Log(5, "text");
  Logger::m_bToFile = true;
  Logger::m_sLogFileLocation = "";
  Logger::Log(5, "text");
  EXPECT_EQ(log.Next(), "nothing");
}

TEST_F(LogSyslogTest, TheLiveFileIsStillRenamedAtTheChangeOfDay) {
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
  const OwnMount devices("/dev");
  std::ofstream("/dev/console").close();
  Logger::Log(3, "text");
  std::ifstream console("/dev/console");
  std::string line;
  std::getline(console, line);
  EXPECT_EQ(line, "PRODUCT_NAME[" + std::to_string(getpid()) + "]: Info: text\r");
}

TEST_F(LogSyslogTest, WithoutSystemLogAndConsoleDeviceTheLineIsLost) {
  const OwnMount devices("/dev");
  Logger::m_bToConsole = true;
  EXPECT_EQ(CaptureOutput([] { Logger::Log(3, "text"); }), "Info: text\n");
  EXPECT_TRUE(std::filesystem::is_empty("/dev"));
  EXPECT_TRUE(std::filesystem::is_empty(m_directory.Path()));
}

TEST_F(LogSyslogTest, TheDestructorOfAHandleClosesTheLog) {
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

TEST_F(LogSyslogTest, AHandleCannotBeCopiedOrMovedAndHasAVirtualDestructor) {
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
