#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "framework/logging/Logger.h"
#include "programs/spf-policyd/ServiceLog.h"
#include "tests/support/OwnProcess.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

class ServiceLogTest : public testing::Test {
 protected:
  ServiceLogTest() { m_settings.logging = m_directory.Path() + "/"; }

  void LogFrom(int level) {
    m_settings.logLevel = level;
    ServiceLog::SetUp(m_settings);
  }

  // Returns the log without date and time.
  std::string Log() const {
    static const std::regex time(R"((^|\n)\d{4}-\d\d-\d\d \d\d:\d\d:\d\d )");
    return std::regex_replace(m_directory.Read("current.log"), time, "$1");
  }

  TemporaryDirectory m_directory;
  Settings m_settings;
};

}  // namespace

TEST_F(ServiceLogTest, LinesOfTheLevelAndAboveAreWritten) {
  LogFrom(fwk::Warning);
  ServiceLog::Write(fwk::Info, "left out");
  ServiceLog::Write(fwk::Warning, "one");
  ServiceLog::Write(fwk::Error, "two");
  LogFrom(fwk::Debug);
  ServiceLog::Write(fwk::Debug, "three");
  ServiceLog::Write(fwk::Info, "four");
  EXPECT_EQ(Log(), "Warning: one\nError: two\nDebug: three\nInfo: four\n");
  LogFrom(6);
  ServiceLog::Write(fwk::Error, "left out");
  EXPECT_EQ(Log(), "Warning: one\nError: two\nDebug: three\nInfo: four\n");
}

TEST_F(ServiceLogTest, ALineIsPrintableAscii) {
  LogFrom(fwk::Info);
  ServiceLog::Write(fwk::Info, "a\nError: b\x1b\xc3\xa4%s");
  EXPECT_EQ(Log(), "Info: a\\012Error: b\\033\\303\\244%s\n");
}

TEST_F(ServiceLogTest, ALongLineIsCut) {
  LogFrom(fwk::Info);
  ServiceLog::Write(fwk::Info, std::string(100000, 'x'));
  EXPECT_EQ(Log(), "Info: " + std::string(2000, 'x') + "...\n");
}

TEST_F(ServiceLogTest, LinesOfTheFrameworkAreNotWritten) {
  LogFrom(0);
  for (const int level : {fwk::DebugThread, fwk::Debug, fwk::Info, fwk::Warning, fwk::Error}) {
    fwk::Logger::Log(level, "text");
    fwk::Logger::LogSync(level, "text");
  }
  EXPECT_EQ(Log(), "");
}

TEST_F(ServiceLogTest, AnUnwritableLogIsAFault) {
  EXPECT_EQ(ServiceLog::FindFault(m_settings), "");
  m_settings.logging = m_directory.Path("none") + "/";
  EXPECT_EQ(ServiceLog::FindFault(m_settings), "cannot write the log " + m_settings.logging +
                                                   "current.log: No such file or directory");
  m_settings.hasSyslog = true;
  EXPECT_EQ(ServiceLog::FindFault(m_settings), "");
  m_settings.hasSyslog = false;
  m_settings.logging = "";
  EXPECT_EQ(ServiceLog::FindFault(m_settings), "");
}

TEST_F(ServiceLogTest, AllLinesAreWrittenByTheEnd) {
  std::string expected;
  for (int i = 0; i < 500; ++i) {
    expected += "Info: " + std::to_string(i) + "\n";
  }
  InOwnProcess([this] {
    LogFrom(fwk::Info);
    fwk::Logger::StartAsync();
    for (int i = 0; i < 500; ++i) {
      ServiceLog::Write(fwk::Info, std::to_string(i));
    }
    EXPECT_TRUE(ServiceLog::End());
  });
  EXPECT_EQ(Log(), expected);
}

TEST_F(ServiceLogTest, OnlyFewLinesWaitForAStuckLog) {
  InOwnProcess([this] {
    LogFrom(fwk::Info);
    fwk::Logger::StartAsync();
    std::atomic<std::uint32_t> written{0};
    std::vector<std::jthread> writers;
    {
      const Mutex stuck(fwk::Logger::m_MutexInstance, true);
      for (int i = 0; i < 4; ++i) {
        writers.emplace_back([&written] {
          for (std::uint32_t line = 0; line < ServiceLog::kBacklog; ++line) {
            ServiceLog::Write(fwk::Info, "text");
            ++written;
          }
        });
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(500));
      EXPECT_GE(written, ServiceLog::kBacklog / 2);
      EXPECT_LT(written, ServiceLog::kBacklog + 4);
    }
    writers.clear();
    EXPECT_EQ(written, 4 * ServiceLog::kBacklog);
    EXPECT_TRUE(ServiceLog::End());
  });
}
