#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <future>
#include <string>
#include <vector>

#include "framework/core/Locks.h"
#include "framework/logging/Logger.h"
#include "tests/logging/LoggerSettings.h"
#include "tests/logging/SystemLog.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/OwnProcess.h"
#include "tests/support/ScarceMemory.h"
#include "tests/support/TemporaryDirectory.h"

using fwk::Logger;

namespace {

// Returns a message that this process has not written yet.
std::string Fresh() {
  static int count = 0;
  return "message " + std::to_string(++count);
}

// Each test writes to files in an empty directory; the logger's location is never used.
class WriteOnceTest : public testing::Test {
 protected:
  WriteOnceTest() {
    RestoreLogger();
    Logger::Init("/nowhere/", 0, true, true);
  }
  ~WriteOnceTest() override { RestoreLogger(); }

  std::string Path(const std::string& name = "file") const { return m_directory.Path(name); }
  std::string Written(const std::string& name = "file") const { return m_directory.Read(name); }
  bool Exists(const std::string& name) const { return std::filesystem::exists(Path(name)); }

  void Write(const std::string& message) const { Logger::WriteOnce(Path(), message); }

  TemporaryDirectory m_directory;
};

}  // namespace

TEST_F(WriteOnceTest, AMessageIsNotWrittenAgainToAnotherPath) {
  const std::string message = Fresh();
  Write(message);
  Logger::WriteOnce(Path("other"), message);
  EXPECT_FALSE(Exists("other"));
  EXPECT_EQ(Written(), message + "\n");
}

TEST_F(WriteOnceTest, AMessageIsWrittenOnceAndEveryCharacterCounts) {
  const std::string message = Fresh();
  const std::vector<std::string> messages = {message + "a", message + "A", message + "a ",
                                             message + "a\n", message};
  std::string expected;
  for (int round = 0; round < 2; ++round) {
    for (const std::string& each : messages) {
      Write(each);
      expected += round == 0 ? each + "\n" : "";
      EXPECT_EQ(Written(), expected);
    }
  }
}

TEST_F(WriteOnceTest, AMessageIsAppendedToTheTextInTheFile) {
  m_directory.Write("file", "old\nno line feed");
  const std::string first = Fresh();
  const std::string second = Fresh();
  Write(first);
  Write(second);
  EXPECT_EQ(Written(), "old\nno line feed" + first + "\n" + second + "\n");
}

TEST_F(WriteOnceTest, TheFileIsClosedAgain) {
  const std::ptrdiff_t before = OpenDescriptors();
  Write(Fresh());
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(WriteOnceTest, AMessageIsWrittenUnchangedWithALineFeedAndNoPrefix) {
  const std::string message = Fresh() + " 100%s %n \xC3\xA9 " + std::string(10000, 'x');
  Write(message);
  EXPECT_EQ(Written(), message + "\n");
}

TEST_F(WriteOnceTest, TheLevelToFileAndToConsoleAreIgnored) {
  Logger::m_LogLevel = 32767;
  Logger::m_bToFile = false;
  Logger::m_bToConsole = true;
  const std::string message = Fresh();
  EXPECT_EQ(CaptureOutput([&] { Write(message); }), "");
  EXPECT_EQ(Written(), message + "\n");
}

TEST_F(WriteOnceTest, TheSystemLogIsNotUsed) {
  const SystemLog log;
  Logger::m_bSyslog = true;
  const std::string message = Fresh();
  Write(message);
  EXPECT_EQ(Written(), message + "\n");
  EXPECT_EQ(log.Next(), "nothing");
}

TEST_F(WriteOnceTest, ThePathIsUsedWithoutTheLocationOrADate) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(m_directory.Path());
  Logger::m_currentLog = "day";
  const std::string message = Fresh();
  Logger::WriteOnce("relative", message);
  std::filesystem::current_path(before);
  EXPECT_EQ(Written("relative"), message + "\n");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_directory.Path()), {}), 1);
  EXPECT_EQ(Logger::m_currentLog, "day");
}

TEST_F(WriteOnceTest, WithAnEmptyLocationNothingIsWrittenOrRemembered) {
  const std::string message = Fresh();
  DoNotLog();
  Write(message);
  EXPECT_FALSE(Exists("file"));
  Logger::Init("/nowhere/", 0, true, true);
  Write(message);
  EXPECT_EQ(Written(), message + "\n");
}

TEST_F(WriteOnceTest, AMessageForAnUnwritablePathIsLostAndRemembered) {
  for (const std::string& path : {Path("missing/file"), m_directory.Path(), std::string()}) {
    const std::string message = Fresh();
    Logger::WriteOnce(path, message);
    Write(message);
    EXPECT_FALSE(Exists("file")) << path;
  }
}

TEST_F(WriteOnceTest, AfterAFailureTheMessageIsNotRemembered) {
  std::string message = Fresh();
  message.resize(599, 'x');  // could be remembered, but not written with its line feed
  const std::string path = Path();
  {
    const ScarceMemory scarce;
    Logger::WriteOnce(path, message);
  }
  EXPECT_EQ(Written(), "");
  Write(message);
  EXPECT_EQ(Written(), message + "\n");
}

TEST_F(WriteOnceTest, MessagesAreRememberedInTheMapOfTheLogger) {
  const std::string message = Fresh();
  EXPECT_EQ(Logger::m_logUnque.Find(message), 0U);
  Write(message);
  EXPECT_NE(Logger::m_logUnque.Find(message), 0U);

  const std::string inserted = Fresh();
  Logger::m_logUnque.Insert(inserted);
  Write(inserted);
  EXPECT_EQ(Written(), message + "\n");
}

TEST_F(WriteOnceTest, AMessageWithTheStampZeroCountsAsUnknown) {
  InOwnProcess([this] {  // the stamps count on from 0 then
    const std::string message = Fresh();
    Logger::m_logUnque.Insert(message, 0);
    Write(message);
    Write(message);
    EXPECT_EQ(Written(), message + "\n");
    EXPECT_EQ(Logger::m_logUnque.Find(message), 1U);
  });
}

TEST_F(WriteOnceTest, The10001stMessageMakesItForgetThe100OldestOnly) {
  std::vector<std::string> messages;
  const auto writeFresh = [&] {
    messages.push_back(Fresh());
    Logger::WriteOnce("/dev/null", messages.back());
  };
  const auto isKnown = [&](std::size_t index) {
    return Logger::m_logUnque.Find(messages[index]) != 0;
  };
  writeFresh();
  for (int i = 0; i < 20000 && isKnown(0); ++i) {
    writeFresh();
  }
  // 100 have just been forgotten, the first of this test among them: 9901 are left.
  const std::size_t oldest = messages.size() - 9901;
  for (int i = 0; i < 99; ++i) {
    writeFresh();
  }
  EXPECT_FALSE(isKnown(oldest - 1));
  Write(messages[oldest]);  // one of 10000
  EXPECT_FALSE(Exists("file"));

  writeFresh();
  Write(messages[oldest + 100]);
  EXPECT_FALSE(Exists("file"));
  Write(messages[oldest]);
  Write(messages[oldest + 99]);
  Write(messages[oldest + 99]);
  EXPECT_EQ(Written(), messages[oldest] + "\n" + messages[oldest + 99] + "\n");
}

TEST_F(WriteOnceTest, AMessageWaitsForTheLock) {
  const std::string message = Fresh();
  std::future<void> write;
  {
    const Mutex lock(Logger::m_MutexInstance, true);
    write = std::async(std::launch::async, [&] { Write(message); });
    EXPECT_EQ(write.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    EXPECT_FALSE(Exists("file"));
    Logger::Log(5, "who holds it may log");
  }
  write.get();
  EXPECT_EQ(Written(), message + "\n");
}

TEST_F(WriteOnceTest, AKnownMessageDoesNotWaitForTheLock) {
  const std::string message = Fresh();
  Write(message);
  std::future<void> write;
  {
    const Mutex lock(Logger::m_MutexInstance, true);
    write = std::async(std::launch::async, [&] { Write(message); });
    EXPECT_EQ(write.wait_for(std::chrono::seconds(30)), std::future_status::ready);
  }
  write.get();
}

TEST_F(WriteOnceTest, AMessageThatTwoThreadsWaitToWriteIsWrittenOnce) {
  const std::string message = Fresh();
  std::array<std::future<void>, 2> writes;
  {
    const Mutex lock(Logger::m_MutexInstance, true);
    for (std::future<void>& write : writes) {
      write = std::async(std::launch::async, [&] { Write(message); });
      EXPECT_EQ(write.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    }
  }
  for (std::future<void>& write : writes) {
    write.get();
  }
  EXPECT_EQ(Written(), message + "\n");
}
