#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <thread>

#include "framework/logging/Logger.h"
#include "tests/logging/LogLines.h"
#include "tests/logging/LoggerSettings.h"
#include "tests/logging/PretendedThread.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/LogPrefix.h"
#include "tests/support/ScarceMemory.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Threads.h"
#include "tests/support/Waiting.h"

using fwk::Logger;

namespace {

struct Settings {
  std::int16_t level = Logger::m_LogLevel;
  bool toFile = Logger::m_bToFile;
  bool toConsole = Logger::m_bToConsole;
  bool syslog = Logger::m_bSyslog;
  bool dateTime = Logger::m_bIncludeDateTime;
  bool threadId = Logger::m_bIncludeThreadID;
  bool logLevel = Logger::m_bIncludeLogLevel;
  std::string location = Logger::m_sLogFileLocation;
  std::string fileName = Logger::m_logFilename;
  std::string current = Logger::m_currentLog;
};

const Settings kAtStart;  // before main()

// Each test begins in an empty working directory, with the settings of a new process.
class LoggerTest : public testing::Test {
 protected:
  LoggerTest() {
    RestoreLogger();
    std::filesystem::current_path(m_directory.Path());
  }
  ~LoggerTest() override {
    RestoreLogger();
    std::filesystem::current_path(m_oldPath);
  }

  // Initialises like the tool, which logs to the console too.
  static void InitPlain(unsigned short level) { Logger::Init("log.txt", level, false, false); }

  std::string Written() const { return m_directory.Read("log.txtcurrent.log"); }

  TemporaryDirectory m_directory;

 private:
  std::filesystem::path m_oldPath = std::filesystem::current_path();
};

// Redirects standard output to `descriptor` while it exists.
class RedirectedOutput {
 public:
  explicit RedirectedOutput(int descriptor) {
    std::fflush(stdout);
    dup2(descriptor, STDOUT_FILENO);
  }
  ~RedirectedOutput() {
    std::fflush(stdout);
    dup2(m_old, STDOUT_FILENO);
    close(m_old);
  }
  RedirectedOutput(const RedirectedOutput&) = delete;
  RedirectedOutput& operator=(const RedirectedOutput&) = delete;

 private:
  int m_old = dup(STDOUT_FILENO);
};

// A pipe that is full until it is drained.
class FullPipe {
 public:
  FullPipe() {
    EXPECT_EQ(pipe(m_ends.data()), 0);
    const std::string block(4096, 'x');
    fcntl(m_ends[1], F_SETFL, O_NONBLOCK);
    while (write(m_ends[1], block.data(), block.size()) > 0) {
      m_filled += block.size();
    }
    fcntl(m_ends[1], F_SETFL, 0);
  }
  ~FullPipe() {
    close(m_ends[0]);
    close(m_ends[1]);
  }
  FullPipe(const FullPipe&) = delete;
  FullPipe& operator=(const FullPipe&) = delete;

  int WriteEnd() const { return m_ends[1]; }

  void Drain() {
    std::array<char, 4096> block;
    for (; m_filled > 0; m_filled -= block.size()) {
      EXPECT_EQ(read(m_ends[0], block.data(), block.size()), 4096);
    }
  }

 private:
  std::array<int, 2> m_ends{};
  std::size_t m_filled = 0;
};

bool Sleeps(pid_t thread) {
  std::ifstream stat("/proc/self/task/" + std::to_string(thread) + "/stat");
  std::string text;
  std::getline(stat, text);
  return text.find(") S ") != std::string::npos;
}

// Runs `call`, which will block, on a thread.
class Thread {
 public:
  explicit Thread(const std::function<void()>& call)
      : m_thread([this, call] {
          m_id = gettid();
          call();
          m_done = true;
        }) {}
  ~Thread() { m_thread.join(); }
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  // Returns whether the call blocks.
  bool Blocks() const {
    int asleep = 0;  // in a row, because it may sleep for a moment before
    const bool stopped = ComesTrue([&] {
      asleep = m_id != 0 && Sleeps(m_id) ? asleep + 1 : 0;
      return m_done || asleep >= 10;
    });
    return stopped && !m_done;
  }

 private:
  std::atomic<pid_t> m_id = 0;
  std::atomic<bool> m_done = false;
  std::thread m_thread;
};

std::string LocalTime(std::time_t time) {
  std::tm fields{};
  localtime_r(&time, &fields);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &fields);
  return text.data();
}

}  // namespace

TEST_F(LoggerTest, TheSettingsHaveTheirInitialValues) {
  EXPECT_EQ(kAtStart.level, 1);
  EXPECT_TRUE(kAtStart.toFile);
  EXPECT_FALSE(kAtStart.toConsole);
  EXPECT_FALSE(kAtStart.syslog);
  EXPECT_TRUE(kAtStart.dateTime);
  EXPECT_TRUE(kAtStart.threadId);
  EXPECT_TRUE(kAtStart.logLevel);
  EXPECT_EQ(kAtStart.location, "/var/log/");
  EXPECT_EQ(kAtStart.fileName, "current.log");
  EXPECT_EQ(kAtStart.current, "");
}

TEST_F(LoggerTest, TheLevelsHaveTheirNumbers) {
  EXPECT_EQ(fwk::DebugThread, 0);
  EXPECT_EQ(fwk::Debug, 1);
  EXPECT_EQ(fwk::Tracking, 2);
  EXPECT_EQ(fwk::Info, 3);
  EXPECT_EQ(fwk::Warning, 4);
  EXPECT_EQ(fwk::Error, 5);
}

TEST_F(LoggerTest, AnObjectHasOnlyTheDataOfItsThread) {
  EXPECT_EQ(sizeof(Logger), sizeof(ThreadedObject));
}

TEST_F(LoggerTest, InitSetsItsFourValuesAndNoOthers) {
  Logger::m_bToFile = false;
  Logger::m_bToConsole = true;
  Logger::m_bSyslog = true;
  Logger::m_bIncludeLogLevel = false;
  Logger::m_logFilename = "name";
  Logger::m_currentLog = "day";
  Logger::Init("place", 4, false, true);
  EXPECT_EQ(Logger::m_sLogFileLocation, "place");
  EXPECT_EQ(Logger::m_LogLevel, 4);
  EXPECT_FALSE(Logger::m_bIncludeDateTime);
  EXPECT_TRUE(Logger::m_bIncludeThreadID);
  Logger::Init("other", 2, true, false);
  EXPECT_EQ(Logger::m_sLogFileLocation, "other");
  EXPECT_EQ(Logger::m_LogLevel, 2);
  EXPECT_TRUE(Logger::m_bIncludeDateTime);
  EXPECT_FALSE(Logger::m_bIncludeThreadID);

  EXPECT_FALSE(Logger::m_bToFile);
  EXPECT_TRUE(Logger::m_bToConsole);
  EXPECT_TRUE(Logger::m_bSyslog);
  EXPECT_FALSE(Logger::m_bIncludeLogLevel);
  EXPECT_EQ(Logger::m_logFilename, "name");
  EXPECT_EQ(Logger::m_currentLog, "day");
}

TEST_F(LoggerTest, InitOpensNoFile) {
  InitPlain(1);
  EXPECT_TRUE(std::filesystem::is_empty(m_directory.Path()));
}

TEST_F(LoggerTest, FileAndConsoleGetTheSameLine) {
  InitPlain(1);
  Logger::m_bToConsole = true;
  EXPECT_EQ(CaptureOutput([] { Logger::Log(1, "text %d of %s", 7, "x"); }), "Debug: text 7 of x\n");
  EXPECT_EQ(Written(), "Debug: text 7 of x\n");
}

TEST_F(LoggerTest, EachLevelHasItsPrefixAndOtherNumbersHaveNone) {
  InitPlain(0);
  const struct {
    int level;
    const char* line;
  } rows[] = {
      {0, "DebugThread: text\n"},
      {1, "Debug: text\n"},
      {2, "Tracking: text\n"},
      {3, "Info: text\n"},
      {4, "Warning: text\n"},
      {5, "Error: text\n"},
      {6, "text\n"},
      {7, "text\n"},
      {-1, "text\n"},
      {INT_MAX, "text\n"},
  };
  std::string expected;
  for (const auto& row : rows) {
    Logger::m_LogLevel = row.level < 0 ? -100 : 0;
    Logger::Log(row.level, "text");
    expected += row.line;
    EXPECT_EQ(Written(), expected) << row.level;
    Logger::LogSync(row.level, "text");
    expected += row.line;
    EXPECT_EQ(Written(), expected) << row.level;
  }
}

TEST_F(LoggerTest, OnlyLevelsFromTheLogLevelUpAreWritten) {
  for (int wanted = 0; wanted <= 8; ++wanted) {
    InitPlain(static_cast<unsigned short>(wanted));
    Logger::m_bIncludeLogLevel = false;
    std::filesystem::remove("log.txtcurrent.log");
    std::string expected;
    for (int level = 0; level <= 7; ++level) {
      Logger::Log(level, "%d", level);
      if (level >= wanted) {
        expected += std::to_string(level) + "\n";
      }
    }
    EXPECT_EQ(Written(), expected) << wanted;
  }
}

TEST_F(LoggerTest, TheLogLevelIsASigned16BitNumber) {
  InitPlain(65535);
  EXPECT_EQ(Logger::m_LogLevel, -1);
  Logger::Log(-1, "text");
  Logger::Log(-2, "lost");
  EXPECT_EQ(Written(), "text\n");
}

TEST_F(LoggerTest, AnEmptyLocationTurnsOffFileAndConsole) {
  for (const char* const location : {"", static_cast<const char*>(nullptr)}) {
    Logger::Init(location, 0, false, false);
    Logger::m_bToConsole = true;
    EXPECT_EQ(CaptureOutput([] {
                Logger::Log(5, "text");
                Logger::LogSync(5, "text");
              }),
              "");
    EXPECT_TRUE(std::filesystem::is_empty(m_directory.Path()));
  }
}

TEST_F(LoggerTest, ACallThatWritesNothingFormatsNothing) {
  int formatted = -1;
  InitPlain(2);
  Logger::Log(1, "text%n", &formatted);
  Logger::LogSync(1, "text%n", &formatted);
  EXPECT_EQ(formatted, -1);
  Logger::Init("", 0, false, false);
  Logger::Log(5, "text%n", &formatted);
  Logger::LogSync(5, "text%n", &formatted);
  EXPECT_EQ(formatted, -1);
  InitPlain(0);
  Logger::Log(5, "text%n", &formatted);
  EXPECT_EQ(formatted, 4);
}

TEST_F(LoggerTest, ACallThatWritesNothingTakesNoMemory) {
  const struct {
    const char* location;
    int level;
  } rows[] = {{"log.txt", 1}, {"", 5}};
  for (const auto& row : rows) {
    Logger::Init(row.location, 2, true, true);
    int refusals = 0;
    {
      const ScarceMemory none(0, SIZE_MAX);
      Logger::Log(row.level, "text %d", 7);
      Logger::LogSync(row.level, "text %d", 7);
      refusals = none.Refusals();
    }
    EXPECT_EQ(refusals, 0) << row.level;
  }
}

TEST_F(LoggerTest, AThreadWithLittleStackLogs) {
  Logger::Init("log.txt", 0, true, true);
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, std::size_t{256} << 10), 0);
  const auto log = [](void*) -> void* {
    Logger::Log(3, "text %d", 7);
    return nullptr;
  };
  pthread_t thread{};
  ASSERT_EQ(pthread_create(&thread, &attributes, log, nullptr), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  EXPECT_NE(Written().find("] Info: text 7\n"), std::string::npos) << Written();
}

TEST_F(LoggerTest, AMessageWithoutItsPrefixIsCutAt4095Characters) {
  InitPlain(0);
  const struct {
    std::size_t length;
    std::size_t kept;
  } rows[] = {{4094, 4094}, {4095, 4095}, {4096, 4095}, {5000, 4095}};
  std::string expected;
  for (const auto& row : rows) {
    Logger::Log(3, "%s", std::string(row.length, 'x').c_str());
    expected += "Info: " + std::string(row.kept, 'x') + "\n";
    EXPECT_EQ(Written(), expected) << row.length;
  }
}

TEST_F(LoggerTest, AMessageEndsAtItsFirstZeroByte) {
  InitPlain(0);
  Logger::Log(3, "ab%ccd", 0);
  EXPECT_EQ(Written(), "Info: ab\n");
}

TEST_F(LoggerTest, AnEmptyMessageIsALineToo) {
  InitPlain(0);
  Logger::Log(3, "%s", "");
  EXPECT_EQ(Written(), "Info: \n");
}

TEST_F(LoggerTest, TheDateTimePrefixIsTheLocalTime) {
  setenv("TZ", "TST-5:17", 1);
  tzset();
  Logger::Init("log.txt", 0, true, false);
  const std::time_t before = std::time(nullptr);
  Logger::Log(3, "text");
  const std::time_t after = std::time(nullptr);
  bool found = false;
  for (std::time_t time = before; time <= after; ++time) {
    found = found || Written() == LocalTime(time) + " Info: text\n";
  }
  EXPECT_TRUE(found) << Written();
  unsetenv("TZ");
  tzset();
}

TEST_F(LoggerTest, TheThreadPrefixIsTheCallingThreadsIdentifier) {
  Logger::Init("log.txt", 0, false, true);
  std::string expected = ThreadPrefix() + "Info: text\n";
  Logger::Log(3, "text");
  EXPECT_EQ(Written(), expected);
  std::thread([&] {
    expected += ThreadPrefix() + "Info: other\n";
    Logger::Log(3, "other");
  }).join();
  EXPECT_EQ(Written(), expected);
}

TEST_F(LoggerTest, AShortThreadIdentifierIsPaddedToThreeColumns) {
  Logger::Init("log.txt", 0, false, true);
  const struct {
    pthread_t thread;
    const char* line;
  } rows[] = {{7, "[  7] Info: text\n"},
              {42, "[ 42] Info: text\n"},
              {999, "[999] Info: text\n"},
              {1234, "[1234] Info: text\n"}};
  std::string expected;
  for (const auto& row : rows) {
    {
      const PretendedThread pretended(row.thread);
      Logger::Log(3, "text");
    }
    expected += row.line;
    EXPECT_EQ(Written(), expected);
  }
}

TEST_F(LoggerTest, EachPrefixCanBeSwitchedOff) {
  for (int mask = 0; mask < 8; ++mask) {
    std::filesystem::remove("log.txtcurrent.log");
    const bool withDate = (mask & 1) != 0;
    const bool withThread = (mask & 2) != 0;
    const bool withLevel = (mask & 4) != 0;
    Logger::Init("log.txt", 0, withDate, withThread);
    Logger::m_bIncludeLogLevel = withLevel;
    Logger::Log(3, "text");
    EXPECT_EQ(WithoutDigits(Written()), std::string(withDate ? "0000-00-00 00:00:00 " : "") +
                                            (withThread ? WithoutDigits(ThreadPrefix()) : "") +
                                            (withLevel ? "Info: text\n" : "text\n"));
  }
}

TEST_F(LoggerTest, WithoutToFileOnlyTheConsoleGetsTheLine) {
  InitPlain(0);
  Logger::m_bToFile = false;
  Logger::m_bToConsole = true;
  EXPECT_EQ(CaptureOutput([] { Logger::Log(3, "text"); }), "Info: text\n");
  EXPECT_TRUE(std::filesystem::is_empty(m_directory.Path()));
}

TEST_F(LoggerTest, WithoutToConsoleOnlyTheFileGetsTheLine) {
  InitPlain(0);
  EXPECT_EQ(CaptureOutput([] { Logger::Log(3, "text"); }), "");
  EXPECT_EQ(Written(), "Info: text\n");
}

TEST_F(LoggerTest, ALocationThatCannotBeOpenedLosesTheLineOnlyInTheFile) {
  Logger::Init("missing/", 0, false, false);
  Logger::m_bToConsole = true;
  EXPECT_EQ(CaptureOutput([] {
              Logger::Log(3, "one");
              Logger::LogSync(3, "two");
            }),
            "Info: one\nInfo: two\n");
  EXPECT_TRUE(std::filesystem::is_empty(m_directory.Path()));
}

TEST_F(LoggerTest, ALineThatCannotBeComposedIsLostAndNothingIsThrown) {
  InitPlain(0);
  Logger::m_bToConsole = true;
  const std::string longMessage(1000, 'x');
  EXPECT_EQ(CaptureOutput([&] {
              const ScarceMemory scarce;
              Logger::Log(3, "%s", longMessage.c_str());
              Logger::LogSync(5, "%s", longMessage.c_str());
              Logger::Log(3, "short");
            }),
            "Info: short\n");
  EXPECT_EQ(Written(), "Info: short\n");
}

TEST_F(LoggerTest, AFailureInTheFileLosesTheLineOnlyThereAndNothingIsThrown) {
  std::string location = "log.txt";
  for (int i = 0; i < 500; ++i) {
    location.insert(0, "./");
  }
  Logger::Init(location.c_str(), 0, false, false);
  Logger::m_bToConsole = true;
  EXPECT_EQ(CaptureOutput([] {
              {
                const ScarceMemory scarce;  // refuses the memory for the path
                Logger::Log(3, "one");
                Logger::LogSync(5, "two");
              }
              Logger::Log(3, "three");
            }),
            "Info: one\nError: two\nInfo: three\n");
  EXPECT_EQ(Written(), "Info: three\n");
}

TEST_F(LoggerTest, AFailedInitThrowsNothingAndChangesNothing) {
  InitPlain(2);
  Logger::m_sLogFileLocation.shrink_to_fit();  // an earlier test may have made it longer
  const std::string longLocation(1000, 'x');
  {
    const ScarceMemory scarce;
    Logger::Init(longLocation.c_str(), 4, true, true);
  }
  EXPECT_EQ(Logger::m_sLogFileLocation, "log.txt");
  EXPECT_EQ(Logger::m_LogLevel, 2);
  EXPECT_FALSE(Logger::m_bIncludeDateTime);
  EXPECT_FALSE(Logger::m_bIncludeThreadID);
  Logger::Log(2, "text");
  EXPECT_EQ(Written(), "Tracking: text\n");
}

TEST_F(LoggerTest, AConsoleLineIsFlushedAtOnce) {
  InitPlain(0);
  Logger::m_bToConsole = true;
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_NONBLOCK), 0);
  std::array<char, 100> buffer{};
  {
    const RedirectedOutput redirected(ends[1]);
    Logger::Log(3, "text");
    static_cast<void>(!read(ends[0], buffer.data(), buffer.size() - 1));
  }
  EXPECT_STREQ(buffer.data(), "Info: text\n");
  close(ends[0]);
  close(ends[1]);
}

TEST_F(LoggerTest, TheFileGetsTheLineFirstAndTheLockIsHeldUntilTheConsoleHasIt) {
  InitPlain(0);
  Logger::m_bToConsole = true;
  FullPipe pipe;
  bool firstBlocked = false;
  bool secondBlocked = false;
  std::string written;
  {
    const RedirectedOutput redirected(pipe.WriteEnd());
    const Thread first([] { Logger::Log(3, "first"); });
    firstBlocked = first.Blocks();  // at the console
    const Thread second([] { Logger::Log(3, "second"); });
    secondBlocked = second.Blocks();  // at the lock
    written = Written();
    pipe.Drain();
  }
  EXPECT_TRUE(firstBlocked);
  EXPECT_TRUE(secondBlocked);
  EXPECT_EQ(written, "Info: first\n");
  EXPECT_EQ(Written(), "Info: first\nInfo: second\n");
}

TEST_F(LoggerTest, ALineIsComposedBeforeItWaitsForTheLock) {
  for (const bool sync : {false, true}) {
    std::filesystem::remove("log.txtcurrent.log");
    InitPlain(0);
    Logger::m_bIncludeLogLevel = true;
    {
      Mutex lock(Logger::m_MutexInstance, false);
      lock.Lock();
      const Thread logging([sync] {
        if (sync) {
          Logger::LogSync(3, "text");
        } else {
          Logger::Log(3, "text");
        }
      });
      EXPECT_TRUE(logging.Blocks());
      EXPECT_EQ(Written(), "");
      Logger::m_bIncludeLogLevel = false;  // too late for that line
      lock.Unlock();
    }
    EXPECT_EQ(Written(), "Info: text\n");
  }
}

TEST_F(LoggerTest, InitWaitsForTheLock) {
  InitPlain(0);
  {
    Mutex lock(Logger::m_MutexInstance, false);
    lock.Lock();
    const Thread initialising([] { Logger::Init("other", 3, false, false); });
    EXPECT_TRUE(initialising.Blocks());
    EXPECT_EQ(Logger::m_LogLevel, 0);
    EXPECT_EQ(Logger::m_sLogFileLocation, "log.txt");
    lock.Unlock();
  }
  EXPECT_EQ(Logger::m_LogLevel, 3);
  EXPECT_EQ(Logger::m_sLogFileLocation, "other");
}

TEST_F(LoggerTest, TheLocationHasItsOwnLock) {
  InitPlain(0);
  std::optional<MutexWrite> changing(std::in_place, Logger::m_locationLock);
  {
    const Thread logging([] { Logger::Log(3, "text"); });
    EXPECT_TRUE(logging.Blocks());
    changing.reset();
  }
  EXPECT_EQ(Written(), "Info: text\n");
  std::optional<MutexRead> reading(std::in_place, Logger::m_locationLock);
  {
    const Thread initialising([] { Logger::Init("other", 3, false, false); });
    EXPECT_TRUE(initialising.Blocks());
    EXPECT_EQ(Logger::m_sLogFileLocation, "log.txt");
    reading.reset();
  }
  EXPECT_EQ(Logger::m_sLogFileLocation, "other");
}

TEST_F(LoggerTest, AThreadThatHoldsTheLockMayLog) {
  InitPlain(0);
  const Mutex lock(Logger::m_MutexInstance, true);
  Logger::Init("log.txt", 1, false, false);
  Logger::Log(3, "text");
  EXPECT_EQ(Written(), "Info: text\n");
}

TEST_F(LoggerTest, LinesOfSeveralThreadsStayWhole) {
  InitPlain(0);
  Logger::m_bToConsole = true;
  const Lines lines{"Info: " + std::string(100, 'a'), "Info: " + std::string(100, 'b')};
  const std::string console = CaptureOutput([&] {
    OnThreads(2, [&](std::size_t i) {
      for (int round = 0; round < 200; ++round) {
        Logger::Log(3, "%s", lines[i].c_str() + std::string("Info: ").size());
      }
    });
  });
  EXPECT_EQ(console, Written());  // in the same order
  const Lines written = LinesOf(console);
  EXPECT_EQ(written.size(), 400U);
  for (const std::string& line : lines) {
    EXPECT_EQ(std::count(written.begin(), written.end(), line), 200);
  }
}
