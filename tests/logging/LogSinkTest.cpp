#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>

#include "framework/logging/Logger.h"
#include "tests/logging/LoggerSettings.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/TemporaryDirectory.h"

using fwk::Logger;

namespace {

constexpr std::time_t kDay = 86400;

// Returns how many seconds a time zone is ahead of UTC if its clock shows `secondOfDay` now.
std::time_t AheadOfUtc(std::time_t secondOfDay) {
  const std::time_t ahead = (secondOfDay - std::time(nullptr) % kDay + kDay) % kDay;
  return ahead > kDay / 2 ? ahead - kDay : ahead;
}

// Moves this process to a time zone.
void SetZone(std::time_t aheadOfUtc) {
  const int distance = std::abs(static_cast<int>(aheadOfUtc));
  std::array<char, 64> zone{};
  std::snprintf(zone.data(), zone.size(), "TST%c%02d:%02d:%02d",
                aheadOfUtc < 0 ? '+' : '-',  // POSIX counts westwards
                distance / 3600, distance / 60 % 60, distance % 60);
  setenv("TZ", zone.data(), 1);
  tzset();
}

std::string LocalDate(std::time_t secondsFromNow) {
  const std::time_t time = std::time(nullptr) + secondsFromNow;
  std::tm fields{};
  localtime_r(&time, &fields);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%d", &fields);
  return text.data();
}

// Each test logs plain lines to files in the directory "d", around noon.
class LogSinkTest : public testing::Test {
 protected:
  LogSinkTest() {
    SetZone(AheadOfUtc(kDay / 2));
    std::filesystem::create_directory(m_directory.Path("d"));
    LogPlainLinesTo(Location());
    Logger::m_bIncludeLogLevel = false;
  }
  ~LogSinkTest() override {
    unsetenv("TZ");
    tzset();
    RestoreLogger();
  }

  std::string Location() const { return m_directory.Path() + "/d/"; }
  std::string Read(const std::string& name) const { return m_directory.Read("d/" + name); }
  void Write(const std::string& name, const std::string& text) const {
    m_directory.Write("d/" + name, text);
  }
  std::ptrdiff_t Files() const {
    return std::distance(std::filesystem::directory_iterator(Location()), {});
  }

  TemporaryDirectory m_directory;
};

}  // namespace

TEST_F(LogSinkTest, TheLocationIsPrependedWithoutASeparator) {
  Logger::m_sLogFileLocation = Location() + "prefix";
  Logger::m_logFilename = "live.txt";
  Logger::Log(3, "text");
  EXPECT_EQ(Read("prefixlive.txt"), "text\n");
  EXPECT_EQ(Logger::m_currentLog, Location() + "prefix" + LocalDate(0) + ".log");
}

TEST_F(LogSinkTest, AFirstLineIsAppendedToAnOldLiveFileWithoutARename) {
  Write("current.log", "old\n");
  std::filesystem::last_write_time(
      Location() + "current.log",
      std::filesystem::file_time_type::clock::now() - std::chrono::hours(24 * 400));
  Logger::Log(3, "new");
  EXPECT_EQ(Read("current.log"), "old\nnew\n");
  EXPECT_EQ(Files(), 1);
  EXPECT_EQ(Logger::m_currentLog, Location() + LocalDate(0) + ".log");
}

TEST_F(LogSinkTest, ALineAfterLocalMidnightRenamesTheLiveFileToTheDayBeforeAndStartsAFreshOne) {
  const std::time_t ahead = AheadOfUtc(kDay - 10);
  SetZone(ahead);  // 23:59:50
  const std::string day = LocalDate(0);
  const std::string nextDay = LocalDate(15);
  ASSERT_NE(day, nextDay);
  Logger::Log(3, "before midnight");
  EXPECT_EQ(Read("current.log"), "before midnight\n");
  SetZone(ahead + 15);  // 00:00:05
  Logger::Log(3, "after midnight");
  EXPECT_EQ(Read(day + ".log"), "before midnight\n");
  EXPECT_EQ(Read("current.log"), "after midnight\n");
  EXPECT_EQ(Files(), 2);
  EXPECT_EQ(Logger::m_currentLog, Location() + nextDay + ".log");
}

TEST_F(LogSinkTest, TheLiveFileIsRenamedToTheDayOfItsLines) {
  Write("current.log", "old\n");
  Logger::m_currentLog = Location() + "2024-02-29.log";
  Logger::Log(3, "new");
  EXPECT_EQ(Read("2024-02-29.log"), "old\n");
  EXPECT_EQ(Read("current.log"), "new\n");
  EXPECT_EQ(Logger::m_currentLog, Location() + LocalDate(0) + ".log");
  Logger::Log(3, "newer");
  EXPECT_EQ(Read("current.log"), "new\nnewer\n");
  EXPECT_EQ(Files(), 2);
}

TEST_F(LogSinkTest, AFileThatAlreadyHasTheDatedNameIsReplaced) {
  Write("2024-02-29.log", "older\n");
  Write("current.log", "old\n");
  Logger::m_currentLog = Location() + "2024-02-29.log";
  Logger::Log(3, "new");
  EXPECT_EQ(Read("2024-02-29.log"), "old\n");
  EXPECT_EQ(Read("current.log"), "new\n");
}

TEST_F(LogSinkTest, AMissingLiveFileAtTheChangeOfDayIsIgnored) {
  Logger::m_currentLog = Location() + "2024-02-29.log";
  Logger::Log(3, "new");
  EXPECT_EQ(Read("current.log"), "new\n");
  EXPECT_EQ(Files(), 1);
  EXPECT_EQ(Logger::m_currentLog, Location() + LocalDate(0) + ".log");
}

TEST_F(LogSinkTest, AFailedRenameLeavesTheLinesInTheLiveFile) {
  Write("current.log", "old\n");
  Logger::m_currentLog = Location() + "missing/2024-02-29.log";
  Logger::Log(3, "new");
  EXPECT_EQ(Read("current.log"), "old\nnew\n");
  EXPECT_EQ(Files(), 1);
  EXPECT_EQ(Logger::m_currentLog, Location() + LocalDate(0) + ".log");
}

TEST_F(LogSinkTest, AChangedLocationRenamesLikeAChangedDay) {
  Logger::Log(3, "first");
  const std::string dated = LocalDate(0) + ".log";
  Write("othercurrent.log", "old\n");
  Logger::m_sLogFileLocation = Location() + "other";
  Logger::Log(3, "second");
  EXPECT_EQ(Read("current.log"), "first\n");
  EXPECT_EQ(Read(dated), "old\n");
  EXPECT_EQ(Read("othercurrent.log"), "second\n");
  EXPECT_EQ(Logger::m_currentLog, Location() + "other" + dated);
}

TEST_F(LogSinkTest, ACallThatWritesNothingRenamesNothing) {
  Write("current.log", "old\n");
  Logger::m_currentLog = Location() + "2024-02-29.log";
  Logger::m_bToFile = false;
  Logger::Log(3, "lost");
  Logger::m_bToFile = true;
  Logger::m_LogLevel = 4;
  Logger::Log(3, "filtered");
  EXPECT_EQ(Read("current.log"), "old\n");
  EXPECT_EQ(Files(), 1);
  EXPECT_EQ(Logger::m_currentLog, Location() + "2024-02-29.log");
}

TEST_F(LogSinkTest, TheFileIsOpenedAndClosedForEveryLine) {
  const std::ptrdiff_t before = OpenDescriptors();
  Logger::Log(3, "one");
  EXPECT_EQ(OpenDescriptors(), before);
  std::filesystem::rename(Location() + "current.log", Location() + "moved.log");
  Logger::Log(3, "two");
  EXPECT_EQ(Read("moved.log"), "one\n");
  EXPECT_EQ(Read("current.log"), "two\n");
  std::filesystem::remove(Location() + "current.log");
  Logger::Log(3, "three");
  EXPECT_EQ(Read("current.log"), "three\n");
}

TEST_F(LogSinkTest, ALiveFileThatCannotBeOpenedLosesTheLineWithoutHarm) {
  std::filesystem::create_directory(Location() + "current.log");
  Logger::Log(3, "lost");
  std::filesystem::remove(Location() + "current.log");
  Logger::Log(3, "kept");
  EXPECT_EQ(Read("current.log"), "kept\n");
}

TEST_F(LogSinkTest, ALiveFileThatCannotBeWrittenLosesTheLineWithoutHarm) {
  std::filesystem::create_symlink("/dev/full", Location() + "current.log");
  Logger::m_bToConsole = true;
  testing::internal::CaptureStdout();
  Logger::Log(3, "text");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "text\n");
}

TEST_F(LogSinkTest, ALineIsWrittenUnchanged) {
  Logger::Log(3, "%s", "100%s %n \xC3\xA9");
  EXPECT_EQ(Read("current.log"), "100%s %n \xC3\xA9\n");
}
