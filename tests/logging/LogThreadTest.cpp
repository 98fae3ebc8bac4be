// The logging thread. Each test starts it in a process of its own, which ends as a program does:
// what the log holds in the end, it holds after the thread's end.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "framework/core/Locks.h"
#include "framework/logging/Logger.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/OwnMount.h"
#include "tests/support/OwnProcess.h"
#include "tests/support/TemporaryDirectory.h"

using fwk::Logger;

namespace {

using Lines = std::vector<std::string>;

const std::string kStart = "Debug: Logger::ObjectThreadMethod - start";
const std::string kEnd = "Debug: Logger::ObjectThreadMethod - end";

// What the system's thread functions did, and whether they are to fail.
std::atomic<int> threadsCreated{0};
std::atomic<int> inheritedScheduling{-1};  // of the last thread that was created
std::atomic<int> creationFailure{0};       // pthread_create's result, unless 0
std::atomic<bool> writeLocksFail{false};   // in other threads than the one that says so
thread_local bool writeLocksWorkHere = false;
std::atomic<int> yields{0};

// An action before the nth of the calls that follow, by whatever thread.
class Before {
 public:
  void Do(int nth, std::function<void()> action) {
    m_action = std::move(action);
    m_left = nth;
  }

  void Call() {
    if (m_left > 0 && --m_left == 0) {
      m_action();
    }
  }

 private:
  std::atomic<int> m_left = 0;
  std::function<void()> m_action;
};

Before beforeReadLock;
Before beforeWriteLock;
Before beforeYield;

}  // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*start)(void*), void* argument) noexcept {
  static const auto system =
      reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
  if (creationFailure != 0) {
    return creationFailure;
  }
  int inherited = -1;
  if (attributes != nullptr) {
    pthread_attr_getinheritsched(attributes, &inherited);
  }
  inheritedScheduling = inherited;
  ++threadsCreated;
  return system(thread, attributes, start, argument);
}

extern "C" int pthread_rwlock_wrlock(pthread_rwlock_t* lock) noexcept {
  static const auto system =
      reinterpret_cast<decltype(&pthread_rwlock_wrlock)>(dlsym(RTLD_NEXT, "pthread_rwlock_wrlock"));
  beforeWriteLock.Call();
  return writeLocksFail && !writeLocksWorkHere ? EDEADLK : system(lock);
}

extern "C" int pthread_rwlock_rdlock(pthread_rwlock_t* lock) noexcept {
  static const auto system =
      reinterpret_cast<decltype(&pthread_rwlock_rdlock)>(dlsym(RTLD_NEXT, "pthread_rwlock_rdlock"));
  beforeReadLock.Call();
  return system(lock);
}

extern "C" int sched_yield() noexcept {
  static const auto system =
      reinterpret_cast<decltype(&sched_yield)>(dlsym(RTLD_NEXT, "sched_yield"));
  ++yields;
  beforeYield.Call();
  return system();
}

namespace {

// Whether condition comes true within 30 s.
bool ComesTrue(const std::function<bool()>& condition) {
  for (int i = 0; i < 3000 && !condition(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return condition();
}

// Whether a call on another thread ends in good time.
bool Ends(const std::future<void>& call) {
  return call.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
}

// Whether a call on another thread is still not done after a while.
bool Waits(const std::future<void>& call) {
  return call.wait_for(std::chrono::milliseconds(100)) == std::future_status::timeout;
}

Lines Numbered(const std::string& text, int count) {
  Lines lines;
  for (int i = 0; i < count; ++i) {
    lines.push_back(text + std::to_string(i));
  }
  return lines;
}

Lines operator+(Lines first, const Lines& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

// The lines of a text; a last one without a line feed says so.
Lines LinesOf(const std::string& text) {
  std::istringstream stream(text);
  Lines lines;
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(stream.eof() ? line + " (without a line feed)" : line);
  }
  return lines;
}

std::string ThreadPrefix() {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "[%3u] ", static_cast<unsigned int>(pthread_self()));
  return text.data();
}

// Each test logs plain lines of all levels to a file in an empty directory.
class LogThreadTest : public testing::Test {
 protected:
  void Run(const std::function<void()>& scenario) const {
    InOwnProcess([&] {
      Logger::Init((m_directory.Path() + "/").c_str(), 0, false, false);
      Logger::m_bIncludeLogLevel = true;
      Logger::m_bToFile = true;
      Logger::m_bToConsole = false;
      Logger::m_bSyslog = false;
      Logger::m_logFilename = "current.log";
      Logger::m_currentLog = "";
      threadsCreated = 0;
      scenario();
    });
  }

  std::string Text() const { return m_directory.Read("current.log"); }
  Lines Written() const { return LinesOf(Text()); }

  bool Has(const std::string& line) const {
    const Lines lines = Written();
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }

  // Waits until the thread, or whoever it is, has written line.
  void WaitFor(const std::string& line) const {
    EXPECT_TRUE(ComesTrue([&] { return Has(line); })) << line;
  }

  TemporaryDirectory m_directory;
};

// The thread writes nothing, and takes nothing from the queue, while the lock is held that all
// output needs; who holds it may log.
using Blocked = Mutex;

}  // namespace

TEST_F(LogThreadTest, NothingRunsBeforeAStart) {
  Run([this] {
    EXPECT_EQ(Logger::m_pLogger, nullptr);
    EXPECT_FALSE(Logger::m_bAsync);
    EXPECT_FALSE(Logger::m_LogQueue.IsClosed());
    Logger::Log(3, "text");
    EXPECT_EQ(Text(), "Info: text\n");
    EXPECT_EQ(threadsCreated, 0);
  });
}

TEST_F(LogThreadTest, TheThreadLogsItsStartAndItsEnd) {
  Run([this] {
    Logger::StartAsync();
    WaitFor(kStart);
    EXPECT_EQ(Written(), Lines{kStart});
    Logger::StopAsync();
    WaitFor(kEnd);  // it was waiting for lines
  });
  EXPECT_EQ(Written(), (Lines{kStart, kEnd}));
}

TEST_F(LogThreadTest, AboveTheLevelDebugTheThreadsStartAndEndAreNotWritten) {
  Run([this] {
    Logger::m_LogLevel = 2;
    Logger::StartAsync();
    Logger::Log(1, "filtered");
    Logger::Log(2, "text");
    WaitFor("Tracking: text");
    Logger::StopAsync();
  });
  EXPECT_EQ(Written(), Lines{"Tracking: text"});
}

TEST_F(LogThreadTest, AfterStartAsyncAnErrorLineIsInTheSinkWhenTheCallReturns) {
  Run([this] {
    Logger::StartAsync();
    for (const std::string& message : Numbered("text ", 100)) {
      Logger::Log(5, "%s", message.c_str());
      EXPECT_TRUE(Has("Error: " + message));
    }
  });
}

TEST_F(LogThreadTest, AnErrorLineIsNeverQueuedAndOvertakesOthersWhileTheThreadIsBlocked) {
  Run([this] {
    const Blocked blocked(Logger::m_MutexInstance, true);
    Logger::StartAsync();
    Logger::Log(3, "one");
    Logger::Log(4, "two");
    EXPECT_EQ(Written(), Lines());
    Logger::Log(5, "three");
    EXPECT_EQ(Written(), Lines{"Error: three"});
  });
}

TEST_F(LogThreadTest, ALineOfLogSyncIsNeverQueuedWhateverItsLevel) {
  Run([this] {
    const Blocked blocked(Logger::m_MutexInstance, true);
    Logger::StartAsync();
    Logger::Log(3, "queued");
    for (const int level : {0, 1, 2, 3, 4, 5, 7}) {
      Logger::LogSync(level, "text");
    }
    EXPECT_EQ(Written(), (Lines{"DebugThread: text", "Debug: text", "Tracking: text", "Info: text",
                                "Warning: text", "Error: text", "text"}));
  });
}

TEST_F(LogThreadTest, EveryLevelButErrorIsQueuedAndWrittenByTheThreadInOrder) {
  Run([this] {
    {
      const Blocked blocked(Logger::m_MutexInstance, true);
      Logger::StartAsync();
      for (const int level : {4, 3, 2, 1, 0, 6, 7, 1000}) {
        Logger::Log(level, "text %d", level);
      }
      EXPECT_EQ(Written(), Lines());
    }
    WaitFor("text 1000");
    Logger::StopAsync();
  });
  EXPECT_EQ(Written(),
            (Lines{kStart, "Warning: text 4", "Info: text 3", "Tracking: text 2", "Debug: text 1",
                   "DebugThread: text 0", "text 6", "text 7", "text 1000", kEnd}));
}

TEST_F(LogThreadTest, WriteOnceIsNeverQueued) {
  Run([this] {
    const Blocked blocked(Logger::m_MutexInstance, true);
    Logger::StartAsync();
    Logger::WriteOnce(m_directory.Path("once"), "text");
    EXPECT_EQ(m_directory.Read("once"), "text\n");
  });
}

TEST_F(LogThreadTest, AfterStopAsyncLinesAreWrittenAtOnceAgain) {
  Run([this] {
    Logger::StartAsync();
    Logger::StopAsync();
    EXPECT_FALSE(Logger::m_bAsync);
    for (const std::string& message : Numbered("text ", 100)) {
      Logger::Log(3, "%s", message.c_str());
      EXPECT_TRUE(Has("Info: " + message));
    }
  });
}

TEST_F(LogThreadTest, StartAsyncTwiceStartsOneThread) {
  Run([] {
    Logger::StartAsync();
    const Logger* const first = Logger::m_pLogger;
    EXPECT_NE(first, nullptr);
    EXPECT_TRUE(Logger::m_bAsync);
    Logger::StartAsync();
    EXPECT_EQ(Logger::m_pLogger, first);
    EXPECT_TRUE(Logger::m_bAsync);
    EXPECT_EQ(threadsCreated, 1);
  });
  EXPECT_EQ(Written(), (Lines{kStart, kEnd}));
}

TEST_F(LogThreadTest, ManyThreadsThatStartItStartOneThread) {
  Run([] {
    constexpr int kThreads = 8;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back(Logger::StartAsync);
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    EXPECT_EQ(threadsCreated, kThreads + 1);
  });
  EXPECT_EQ(Written(), (Lines{kStart, kEnd}));
}

TEST_F(LogThreadTest, StartAsyncAfterStopAsyncCreatesNoThreadAndLinesAreWrittenAtOnce) {
  Run([this] {
    Logger::StartAsync();
    Logger::StopAsync();
    WaitFor(kEnd);
    Logger::StartAsync();
    EXPECT_EQ(threadsCreated, 1);
    EXPECT_FALSE(Logger::m_bAsync);
    EXPECT_TRUE(Logger::m_LogQueue.IsClosed());
    Logger::Log(3, "text");
    EXPECT_EQ(Written(), (Lines{kStart, kEnd, "Info: text"}));
  });
  EXPECT_EQ(Written(), (Lines{kStart, kEnd, "Info: text"}));
}

TEST_F(LogThreadTest, TheObjectIsKnownOnceStartedAndNeverForgotten) {
  Run([this] {
    Logger::StartAsync();
    const Logger* const object = Logger::m_pLogger;
    EXPECT_NE(object, nullptr);
    Logger::StopAsync();
    EXPECT_EQ(Logger::m_pLogger, object);
    WaitFor(kEnd);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // it deletes itself meanwhile
    EXPECT_EQ(Logger::m_pLogger, object);
    Logger::StartAsync();
    EXPECT_EQ(Logger::m_pLogger, object);
  });
}

TEST_F(LogThreadTest, TheThreadHasDefaultScheduling) {
  Run([] {
    Logger::StartAsync();
    EXPECT_EQ(inheritedScheduling, PTHREAD_INHERIT_SCHED);
  });
}

TEST_F(LogThreadTest, StopAsyncWithoutAStartDoesNothing) {
  Run([this] {
    Logger::StopAsync();
    EXPECT_FALSE(Logger::m_LogQueue.IsClosed());
    {
      const Blocked blocked(Logger::m_MutexInstance, true);
      Logger::StartAsync();
      EXPECT_TRUE(Logger::m_bAsync);
      Logger::Log(3, "text");
      EXPECT_EQ(Written(), Lines());
    }
    WaitFor("Info: text");
  });
  EXPECT_EQ(Written(), (Lines{kStart, "Info: text", kEnd}));
}

TEST_F(LogThreadTest, StopAsyncMayBeRepeated) {
  Run([] {
    Logger::StartAsync();
    for (int i = 0; i < 3; ++i) {
      Logger::StopAsync();
      EXPECT_FALSE(Logger::m_bAsync);
      EXPECT_TRUE(Logger::m_LogQueue.IsClosed());
    }
  });
  EXPECT_EQ(Written(), (Lines{kStart, kEnd}));
}

TEST_F(LogThreadTest, AStopThatFailsThrowsNothingAndChangesNothing) {
  Run([this] {
    Logger::StartAsync();
    WaitFor(kStart);
    writeLocksFail = true;  // the flag's
    Logger::StopAsync();
    writeLocksFail = false;
    EXPECT_TRUE(Logger::m_bAsync);
    EXPECT_FALSE(Logger::m_LogQueue.IsClosed());
  });
  EXPECT_EQ(Written(), (Lines{kStart, kEnd}));
}

TEST_F(LogThreadTest, StopAsyncLosesTheLinesThatAreQueued) {
  Run([] {
    const Blocked blocked(Logger::m_MutexInstance, true);
    Logger::StartAsync();
    Logger::Log(3, "one");
    Logger::Log(4, "two");
    Logger::StopAsync();
    Logger::Log(3, "three");
  });
  EXPECT_EQ(Written(), (Lines{"Info: three", kStart, kEnd}));
}

TEST_F(LogThreadTest, ALineAlreadyTakenIsWrittenThoughTheQueueIsClosedBeforeItsTurn) {
  Run([this] {
    Logger::StartAsync();
    WaitFor(kStart);
    const Blocked blocked(Logger::m_MutexInstance, true);
    std::atomic<bool> taken = false;
    beforeWriteLock.Do(2, [&taken] {  // the first brings the line in, the second takes it out
      // The first asks whether the queue is closed, the second for the location.
      beforeReadLock.Do(2, [&taken] { taken = true; });
    });
    Logger::Log(3, "taken");
    EXPECT_TRUE(ComesTrue([&taken] { return taken.load(); }));
    Logger::StopAsync();
  });
  EXPECT_EQ(Written(), (Lines{kStart, "Info: taken", kEnd}));
}

TEST_F(LogThreadTest, ALineTakenJustBeforeTheQueueIsClosedIsLost) {
  Run([this] {
    Logger::StartAsync();
    WaitFor(kStart);
    beforeWriteLock.Do(2, [] {  // the first brings the line in, the second takes it out
      beforeReadLock.Do(1, [] { Logger::m_LogQueue.Close(); });
    });
    Logger::Log(3, "taken");
    WaitFor(kEnd);
  });
  EXPECT_EQ(Written(), (Lines{kStart, kEnd}));
}

TEST_F(LogThreadTest, AClosedQueueDropsLinesSilently) {
  Run([this] {
    Logger::StartAsync();
    WaitFor(kStart);
    Logger::m_LogQueue.Close();
    WaitFor(kEnd);
    EXPECT_TRUE(Logger::m_bAsync);
    Logger::Log(3, "lost");
    Logger::Log(5, "at once");
    Logger::LogSync(3, "at once too");
  });
  EXPECT_EQ(Written(), (Lines{kStart, kEnd, "Error: at once", "Info: at once too"}));
}

TEST_F(LogThreadTest, WhatIsNotToBeWrittenIsNotQueued) {
  Run([this] {
    Logger::StartAsync();
    WaitFor(kStart);
    {
      const Blocked blocked(Logger::m_MutexInstance, true);
      Logger::m_LogLevel = 4;
      Logger::Log(3, "filtered");
      Logger::Init("", 0, false, false);
      Logger::Log(3, "without a location");
      Logger::Init((m_directory.Path() + "/").c_str(), 0, false, false);
      Logger::Log(3, "text");
    }
    WaitFor("Info: text");
  });
  EXPECT_EQ(Written(), (Lines{kStart, "Info: text", kEnd}));
}

TEST_F(LogThreadTest, AQueuedLineIsLostWhenTheLocationIsEmptyAtItsTurn) {
  Run([this] {
    std::filesystem::current_path(m_directory.Path());  // where such a line would go
    Logger::StartAsync();
    WaitFor(kStart);
    yields = 0;  // a start may yield, too
    Logger::Init("", 0, false, false);
    for (const char* line : {"one", "two", "three"}) {
      Logger::m_LogQueue.Push(line);
    }
    EXPECT_TRUE(ComesTrue([] { return yields == 3; }));  // two of them are done with
    Logger::Init((m_directory.Path() + "/").c_str(), 0, false, false);
    Logger::Log(3, "kept");
    WaitFor("Info: kept");
    EXPECT_TRUE(Has(kStart));  // in the file that no other location has renamed
    EXPECT_FALSE(Has("one"));
    EXPECT_FALSE(Has("two"));
  });
}

TEST_F(LogThreadTest, TheThreadWaitsForTheLockToWriteALine) {
  Run([this] {
    Logger::StartAsync();
    WaitFor(kStart);
    {
      const Blocked blocked(Logger::m_MutexInstance, true);
      Logger::Log(3, "text");
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      EXPECT_EQ(Written(), Lines{kStart});
    }
    WaitFor("Info: text");
  });
}

TEST_F(LogThreadTest, TheThreadYieldsOnceForEachLine) {
  Run([this] {
    Logger::StartAsync();
    WaitFor(kStart);
    yields = 0;  // a start may yield, too
    for (const std::string& message : Numbered("text ", 10)) {
      Logger::Log(3, "%s", message.c_str());
    }
    WaitFor("Info: text 9");
    EXPECT_EQ(yields, 10);
  });
}

TEST_F(LogThreadTest, TheThreadYieldsBeforeItTakesALine) {
  Run([this] {
    Logger::StartAsync();
    WaitFor(kStart);
    std::atomic<bool> wasThere = false;
    beforeYield.Do(1, [&wasThere] {
      std::string line;
      wasThere = Logger::m_LogQueue.Pop(line);
    });
    Logger::Log(3, "taken away");
    EXPECT_TRUE(ComesTrue([&wasThere] { return wasThere.load(); }));
    Logger::Log(3, "text");
    WaitFor("Info: text");
  });
  EXPECT_EQ(Written(), (Lines{kStart, "Info: text", kEnd}));
}

TEST_F(LogThreadTest, NoOtherLockIsHeldWhileALineIsQueued) {
  Run([this] {
    Logger::StartAsync();
    WaitFor(kStart);
    std::future<void> others;
    beforeWriteLock.Do(1, [&] {  // the queue's
      others = std::async(std::launch::async, [this] {
        Logger::m_bAsync = true;
        Logger::Init((m_directory.Path() + "/").c_str(), 0, false, false);
      });
      EXPECT_TRUE(Ends(others));
    });
    Logger::Log(3, "text");
    WaitFor("Info: text");
    others.get();
  });
}

TEST_F(LogThreadTest, TheResultOfTheThreadIsZero) {
  Run([] {
    const Blocked blocked(Logger::m_MutexInstance, true);  // so that the thread's object stays
    Logger::StartAsync();
    Logger::StopAsync();
    EXPECT_EQ(Logger::m_pLogger->ObjectThreadMethod(), 0U);
  });
  EXPECT_EQ(Written(), (Lines{kStart, kEnd, kStart, kEnd}));
}

TEST_F(LogThreadTest, AThreadThatIsToldToEndTakesNoLineAnyMore) {
  Run([this] {
    {
      const Blocked blocked(Logger::m_MutexInstance, true);
      Logger::StartAsync();
      Logger::Log(3, "not taken");
      Logger::m_pLogger->StopObjectThread();
    }
    WaitFor(kEnd);
    EXPECT_EQ(Written(), (Lines{kStart, kEnd}));
    std::string line;
    EXPECT_TRUE(Logger::m_LogQueue.Pop(line));
    EXPECT_EQ(line, "Info: not taken");
  });
}

TEST_F(LogThreadTest, AWakeUpWithoutALineWritesNothing) {
  Run([this] {
    {
      const Blocked blocked(Logger::m_MutexInstance, true);
      Logger::StartAsync();
      Logger::Log(3, "taken away");
      std::string line;
      EXPECT_TRUE(Logger::m_LogQueue.Pop(line));
    }
    Logger::Log(3, "one");
    WaitFor("Info: one");
    Logger::Log(3, "two");
    WaitFor("Info: two");
  });
  EXPECT_EQ(Written(), (Lines{kStart, "Info: one", "Info: two", kEnd}));
}

TEST_F(LogThreadTest, ThePrefixIsThatOfTheCallingThread) {
  Run([this] {
    Logger::Init((m_directory.Path() + "/").c_str(), 0, false, true);
    Lines expected;
    {
      const Blocked blocked(Logger::m_MutexInstance, true);
      Logger::StartAsync();
      Logger::Log(3, "one");
      expected.push_back(ThreadPrefix() + "Info: one");
      std::thread([&expected] {
        Logger::Log(3, "two");
        expected.push_back(ThreadPrefix() + "Info: two");
      }).join();
    }
    WaitFor(expected.back());
    const Lines lines = Written();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(Lines(lines.begin() + 1, lines.end()), expected);
    EXPECT_EQ(lines[0].find(ThreadPrefix()), std::string::npos) << "the thread logs its own start";
  });
}

TEST_F(LogThreadTest, ALineIsComposedBeforeItIsQueued) {
  Run([this] {
    Logger::StartAsync();
    WaitFor(kStart);
    {
      const Blocked blocked(Logger::m_MutexInstance, true);
      std::string message = "before";
      Logger::Log(3, "%s", message.c_str());
      message = "after";
      Logger::m_bIncludeLogLevel = false;
    }
    WaitFor("Info: before");
  });
  EXPECT_EQ(Written(), (Lines{kStart, "Info: before", "Logger::ObjectThreadMethod - end"}));
}

TEST_F(LogThreadTest, TheThreadWritesToFileAndConsole) {
  Run([this] {
    Logger::m_bToConsole = true;
    const std::string console = CaptureOutput([this] {
      Logger::StartAsync();
      for (const std::string& message : Numbered("text ", 100)) {
        Logger::Log(3, "%s", message.c_str());
      }
      WaitFor("Info: text 99");
      Logger::StopAsync();
      WaitFor(kEnd);
      const Mutex lock(Logger::m_MutexInstance, true);  // the console gets it after the file
    });
    EXPECT_EQ(LinesOf(console), Lines{kStart} + Numbered("Info: text ", 100) + Lines{kEnd});
    EXPECT_EQ(console, Text());
    Logger::m_bToConsole = false;
  });
}

TEST_F(LogThreadTest, TheThreadWritesToTheSystemLog) {
  const OwnMount devices("/dev");
  Run([this] {
    const int log = socket(AF_UNIX, SOCK_DGRAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/dev/log");
    ASSERT_EQ(bind(log, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    const timeval limit{.tv_sec = 30, .tv_usec = 0};
    setsockopt(log, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));

    Logger::m_bSyslog = true;
    Logger::StartAsync();
    Logger::Log(3, "text");
    Logger::Log(4, "more");
    for (const std::string& line :
         {kStart, std::string("Info: text"), std::string("Warning: more")}) {
      std::array<char, 1000> buffer{};
      EXPECT_GT(recv(log, buffer.data(), buffer.size() - 1, 0), 0);
      const std::string message = buffer.data();
      const std::string end = "PRODUCT_NAME[" + std::to_string(getpid()) + "]: " + line;
      EXPECT_EQ(message.substr(message.size() - std::min(message.size(), end.size())), end);
    }
    EXPECT_TRUE(std::filesystem::is_empty(m_directory.Path()));
  });
}

TEST_F(LogThreadTest, EachLineOfManyThreadsIsWrittenOnceAndWholeInItsThreadsOrder) {
  constexpr int kThreads = 8;
  constexpr int kLines = 500;
  const std::string filler(100, 'x');
  Run([&] {
    Logger::StartAsync();
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([i, &filler] {
        for (int line = 0; line < kLines; ++line) {
          Logger::Log(3, "%d %s %d", i, filler.c_str(), line);
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    EXPECT_TRUE(ComesTrue([&] { return Written().size() == 1 + kThreads * kLines; }));
    Logger::StopAsync();
  });

  const Lines lines = Written();
  ASSERT_EQ(lines.size(), 2U + kThreads * kLines);
  EXPECT_EQ(lines.front(), kStart);
  EXPECT_EQ(lines.back(), kEnd);
  std::array<Lines, kThreads> byThread;
  for (std::size_t i = 1; i + 1 < lines.size(); ++i) {
    const int thread = lines[i].size() > 6 ? lines[i][6] - '0' : -1;
    ASSERT_TRUE(thread >= 0 && thread < kThreads) << lines[i];
    byThread[static_cast<std::size_t>(thread)].push_back(lines[i]);
  }
  for (std::size_t i = 0; i < kThreads; ++i) {
    EXPECT_EQ(byThread[i], Numbered("Info: " + std::to_string(i) + " " + filler + " ", kLines));
  }
}

TEST_F(LogThreadTest, LinesOfAllKindsStayWhileTheThreadIsStartedAndStopped) {
  constexpr int kThreads = 4;
  constexpr int kLines = 200;
  Run([] {
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([i] {
        for (int line = 0; line < kLines; ++line) {
          Logger::Log(5, "error %d %d", i, line);
          Logger::LogSync(3, "sync %d %d", i, line);
          Logger::Log(3, "queued %d %d", i, line);  // may be lost
        }
      });
    }
    Logger::StartAsync();
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    Logger::StopAsync();
    for (std::thread& thread : threads) {
      thread.join();
    }
  });
  Lines lines = Written();
  for (int i = 0; i < kThreads; ++i) {
    for (int line = 0; line < kLines; ++line) {
      const std::string end = std::to_string(i) + " " + std::to_string(line);
      EXPECT_EQ(std::count(lines.begin(), lines.end(), "Error: error " + end), 1) << end;
      EXPECT_EQ(std::count(lines.begin(), lines.end(), "Info: sync " + end), 1) << end;
      EXPECT_LE(std::count(lines.begin(), lines.end(), "Info: queued " + end), 1) << end;
    }
  }
}

TEST_F(LogThreadTest, AFailureInTheThreadIsLoggedAndEndsItAndLaterLinesStayInTheQueue) {
  Run([this] {
    Logger::StartAsync();
    WaitFor(kStart);
    writeLocksWorkHere = true;
    writeLocksFail = true;  // the queue's
    Logger::Log(3, "not taken");
    WaitFor(kEnd);
    writeLocksFail = false;
    EXPECT_EQ(Written(),
              (Lines{kStart, "Error: Unknown error in Logger::ObjectThreadMethod", kEnd}));

    EXPECT_TRUE(Logger::m_bAsync);
    EXPECT_FALSE(Logger::m_LogQueue.IsClosed());
    Logger::Log(3, "queued");
    Logger::Log(5, "at once");
    std::string line;
    EXPECT_TRUE(Logger::m_LogQueue.Pop(line));
    EXPECT_EQ(line, "Info: not taken");
    EXPECT_TRUE(Logger::m_LogQueue.Pop(line));
    EXPECT_EQ(line, "Info: queued");

    Logger::Log(3, "lost");
    Logger::StopAsync();
    Logger::Log(3, "at once again");
  });
  EXPECT_EQ(Written(), (Lines{kStart, "Error: Unknown error in Logger::ObjectThreadMethod", kEnd,
                              "Error: at once", "Info: at once again"}));
}

TEST_F(LogThreadTest, AFailureInTheThreadIsAnError) {
  Run([this] {
    Logger::m_LogLevel = 5;
    writeLocksWorkHere = true;
    Logger::StartAsync();
    writeLocksFail = true;
    Logger::m_LogQueue.Push("not taken");
    WaitFor("Error: Unknown error in Logger::ObjectThreadMethod");
    writeLocksFail = false;
  });
  EXPECT_EQ(Written(), Lines{"Error: Unknown error in Logger::ObjectThreadMethod"});
}

TEST_F(LogThreadTest, WithoutAThreadLinesAreWrittenAtOnce) {
  Run([this] {
    creationFailure = EAGAIN;
    Logger::StartAsync();
    EXPECT_FALSE(Logger::m_bAsync);
    Logger::Log(3, "text");
    EXPECT_EQ(Text(), "Info: text\n");
    Logger::StopAsync();
  });
  EXPECT_EQ(Text(), "Info: text\n");
}

TEST_F(LogThreadTest, AStartThatFailedIsTriedAgainByTheNext) {
  Run([this] {
    creationFailure = EAGAIN;
    Logger::StartAsync();
    EXPECT_EQ(Logger::m_pLogger, nullptr);
    creationFailure = 0;
    Logger::StartAsync();
    EXPECT_NE(Logger::m_pLogger, nullptr);
    EXPECT_TRUE(Logger::m_bAsync);
    Logger::Log(3, "text");
    WaitFor("Info: text");
  });
  EXPECT_EQ(Written(), (Lines{kStart, "Info: text", kEnd}));
}

TEST_F(LogThreadTest, StopAsyncWithoutAThreadDoesNotWaitForTheLock) {
  Run([] {
    std::future<void> call;
    for (const bool started : {false, true}) {
      if (started) {
        Logger::StartAsync();
        Logger::StopAsync();
      }
      const Mutex lock(Logger::m_MutexInstance, true);
      call = std::async(std::launch::async, Logger::StopAsync);
      EXPECT_TRUE(Ends(call));
    }
    call.get();
  });
}

TEST_F(LogThreadTest, StartAsyncAndStopAsyncWaitForTheLock) {
  Run([] {
    std::future<void> call;
    {
      const Mutex lock(Logger::m_MutexInstance, true);
      call = std::async(std::launch::async, Logger::StartAsync);
      EXPECT_TRUE(Waits(call));
      EXPECT_EQ(Logger::m_pLogger, nullptr);
      EXPECT_FALSE(Logger::m_bAsync);
    }
    call.get();
    EXPECT_TRUE(Logger::m_bAsync);
    {
      const Mutex lock(Logger::m_MutexInstance, true);
      call = std::async(std::launch::async, Logger::StopAsync);
      EXPECT_TRUE(Waits(call));
      EXPECT_TRUE(Logger::m_bAsync);
      EXPECT_FALSE(Logger::m_LogQueue.IsClosed());
    }
    call.get();
    EXPECT_FALSE(Logger::m_bAsync);
    EXPECT_TRUE(Logger::m_LogQueue.IsClosed());
  });
}

TEST_F(LogThreadTest, ADrainThatReturnsTrueHasWrittenEveryLineQueuedBeforeIt) {
  Run([this] {
    Logger::StartAsync();
    for (int round = 0; round < 10; ++round) {
      for (const std::string& message : Numbered("text ", 100)) {
        Logger::Log(3, "%d %s", round, message.c_str());
      }
      EXPECT_TRUE(Logger::Drain(std::chrono::seconds(30)));
      EXPECT_TRUE(Text().ends_with("Info: " + std::to_string(round) + " text 99\n"));
    }
  });
}

TEST_F(LogThreadTest, ADrainWaitsForTheLinesOfItsOwnThreadWhateverOthersLog) {
  Run([this] {
    Logger::StartAsync();
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
      threads.emplace_back([this, i] {
        for (int line = 0; line < 50; ++line) {
          Logger::Log(3, "%d %d", i, line);
        }
        EXPECT_TRUE(Logger::Drain(std::chrono::seconds(30)));
        EXPECT_TRUE(Has("Info: " + std::to_string(i) + " 49"));
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  });
}

TEST_F(LogThreadTest, ADrainWaitsForTheLineThatTheThreadHasTaken) {
  Run([this] {
    Logger::StartAsync();
    WaitFor(kStart);
    std::future<void> drain;
    {
      const Blocked blocked(Logger::m_MutexInstance, true);
      yields = 0;
      Logger::Log(3, "taken");
      EXPECT_TRUE(ComesTrue([] { return yields > 0; }));
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      std::string line;
      EXPECT_FALSE(Logger::m_LogQueue.Pop(line)) << "the thread has taken it";
      drain = std::async(std::launch::async,
                         [] { EXPECT_TRUE(Logger::Drain(std::chrono::seconds(30))); });
      EXPECT_TRUE(Waits(drain));
    }
    drain.get();
    EXPECT_TRUE(Has("Info: taken"));
  });
}

TEST_F(LogThreadTest, ADrainEndsAfterItsTimeAndNoSooner) {
  Run([] {
    const Blocked blocked(Logger::m_MutexInstance, true);
    Logger::StartAsync();
    Logger::Log(3, "not written");
    for (int i = 0; i < 5; ++i) {
      const auto start = std::chrono::steady_clock::now();
      EXPECT_FALSE(Logger::Drain(std::chrono::milliseconds(150)));
      const auto elapsed = std::chrono::steady_clock::now() - start;
      EXPECT_GE(elapsed, std::chrono::milliseconds(150));
      EXPECT_LT(elapsed, std::chrono::seconds(10));
    }
  });
}

TEST_F(LogThreadTest, ADrainEndsWhenTheThreadEnds) {
  Run([this] {
    Logger::StartAsync();
    WaitFor(kStart);
    std::future<void> drain;
    {
      const Blocked blocked(Logger::m_MutexInstance, true);
      Logger::Log(3, "taken");
      Logger::Log(3, "lost");
      drain = std::async(std::launch::async,
                         [] { EXPECT_FALSE(Logger::Drain(std::chrono::seconds(60))); });
      EXPECT_TRUE(Waits(drain));
      Logger::StopAsync();
    }
    EXPECT_TRUE(Ends(drain));
    EXPECT_FALSE(Logger::Drain(std::chrono::seconds(60)));
  });
}

TEST_F(LogThreadTest, ADrainAfterAFailureInTheThreadReturnsFalseAtOnce) {
  Run([this] {
    Logger::StartAsync();
    WaitFor(kStart);
    writeLocksWorkHere = true;
    writeLocksFail = true;  // the queue's
    Logger::Log(3, "not taken");
    WaitFor(kEnd);
    writeLocksFail = false;
    EXPECT_FALSE(Logger::Drain(std::chrono::seconds(60)));
  });
}

TEST_F(LogThreadTest, ADrainWithNothingQueuedReturnsTrueAtOnce) {
  Run([this] {
    EXPECT_TRUE(Logger::Drain(std::chrono::milliseconds(0)));
    Logger::StartAsync();
    EXPECT_TRUE(Logger::Drain(std::chrono::milliseconds(0)));
    Logger::Log(3, "text");
    EXPECT_TRUE(Logger::Drain(std::chrono::seconds(30)));
    Logger::StopAsync();
    WaitFor(kEnd);
    Logger::Log(3, "at once");
    EXPECT_TRUE(Logger::Drain(std::chrono::milliseconds(0)));
  });
}

namespace {

// Runs the program that ends in the middle of its logging, again and again.
class LogExitTest : public testing::Test {
 protected:
  static constexpr int kRuns = 50;

  static Lines Run(const std::string& state) {
    const TemporaryDirectory directory;
    const ChildResult result = RunChild(LOG_EXIT_PROGRAM, {"log_exit", state}, directory.Path());
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_EQ(result.standardError, "");
    return LinesOf(directory.Read("current.log"));
  }

  // The log holds the thread's start and end, and between them the first lines of the program.
  static void ExpectLog(const Lines& lines, std::size_t most) {
    ASSERT_GE(lines.size(), 2U);
    ASSERT_LE(lines.size(), most + 2);
    EXPECT_EQ(lines, Lines{kStart} + Numbered("Info: line ", static_cast<int>(lines.size() - 2)) +
                         Lines{kEnd});
  }
};

}  // namespace

TEST_F(LogExitTest, AProgramThatReturnsFromMainWhileTheThreadRunsEndsCleanlyEveryTime) {
  for (int run = 0; run < kRuns && !HasFailure(); ++run) {
    ExpectLog(Run("running"), 3);
  }
}

TEST_F(LogExitTest, AProgramThatReturnsFromMainRightAfterStopAsyncEndsCleanlyEveryTime) {
  for (int run = 0; run < kRuns && !HasFailure(); ++run) {
    Lines lines = Run("stopped");
    const auto last = std::find(lines.begin(), lines.end(), "Info: stopped");
    ASSERT_NE(last, lines.end());
    lines.erase(last);
    ExpectLog(lines, 3);
  }
}

TEST_F(LogExitTest, AProgramThatReturnsFromMainWithLinesStillQueuedEndsCleanlyEveryTime) {
  std::size_t lost = 0;
  for (int run = 0; run < kRuns && !HasFailure(); ++run) {
    const Lines lines = Run("busy");
    ExpectLog(lines, 2000);
    lost += 2002 - lines.size();
  }
  EXPECT_GT(lost, 0U);  // there were such lines
}

TEST_F(LogExitTest, AProgramThatReturnsFromMainWhileItsThreadUsesTheSystemLogEndsCleanlyEveryTime) {
  const OwnMount devices("/dev");
  for (int run = 0; run < kRuns && !HasFailure(); ++run) {
    std::ofstream("/dev/console").close();  // gets each line, in place of the one before
    EXPECT_EQ(Run("syslog-long-name"), Lines());
    std::string line;
    std::getline(std::ifstream("/dev/console"), line);
    EXPECT_EQ(line.substr(0, 101), std::string(100, 'x') + "[");
  }
}
