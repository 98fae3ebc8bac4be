// Which lines the thread gets, and when it writes them.

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/logging/LogThread.h"
#include "tests/support/LogPrefix.h"
#include "tests/support/OwnMount.h"

namespace {

class LogQueueTest : public LogThread {};

}  // namespace

TEST_F(LogQueueTest, AfterStartAsyncAnErrorLineIsInTheSinkWhenTheCallReturns) {
  Run([this] {
    Logger::StartAsync();
    for (const std::string& message : Numbered("text ", 100)) {
      Logger::Log(5, "%s", message.c_str());
      EXPECT_TRUE(Has("Error: " + message));
    }
  });
}

TEST_F(LogQueueTest, AnErrorLineIsNeverQueuedAndOvertakesOthersWhileTheThreadIsBlocked) {
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

TEST_F(LogQueueTest, ALineOfLogSyncIsNeverQueuedWhateverItsLevel) {
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

TEST_F(LogQueueTest, EveryLevelButErrorIsQueuedAndWrittenByTheThreadInOrder) {
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

TEST_F(LogQueueTest, WriteOnceIsNeverQueued) {
  Run([this] {
    const Blocked blocked(Logger::m_MutexInstance, true);
    Logger::StartAsync();
    Logger::WriteOnce(m_directory.Path("once"), "text");
    EXPECT_EQ(m_directory.Read("once"), "text\n");
  });
}

TEST_F(LogQueueTest, AfterStopAsyncLinesAreWrittenAtOnceAgain) {
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

TEST_F(LogQueueTest, StopAsyncLosesTheLinesThatAreQueued) {
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

TEST_F(LogQueueTest, ALineAlreadyTakenIsWrittenThoughTheQueueIsClosedBeforeItsTurn) {
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

TEST_F(LogQueueTest, ALineTakenJustBeforeTheQueueIsClosedIsLost) {
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

TEST_F(LogQueueTest, AClosedQueueDropsLinesSilently) {
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

TEST_F(LogQueueTest, WhatIsNotToBeWrittenIsNotQueued) {
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

TEST_F(LogQueueTest, AQueuedLineIsLostWhenTheLocationIsEmptyAtItsTurn) {
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

TEST_F(LogQueueTest, TheThreadWaitsForTheLockToWriteALine) {
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

TEST_F(LogQueueTest, TheThreadYieldsOnceForEachLine) {
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

TEST_F(LogQueueTest, TheThreadYieldsBeforeItTakesALine) {
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

TEST_F(LogQueueTest, NoOtherLockIsHeldWhileALineIsQueued) {
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

TEST_F(LogQueueTest, AWakeUpWithoutALineWritesNothing) {
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

TEST_F(LogQueueTest, ThePrefixIsThatOfTheCallingThread) {
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

TEST_F(LogQueueTest, ALineIsComposedBeforeItIsQueued) {
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

TEST_F(LogQueueTest, TheThreadWritesToFileAndConsole) {
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

TEST_F(LogQueueTest, TheThreadWritesToTheSystemLog) {
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

TEST_F(LogQueueTest, EachLineOfManyThreadsIsWrittenOnceAndWholeInItsThreadsOrder) {
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

TEST_F(LogQueueTest, LinesOfAllKindsStayWhileTheThreadIsStartedAndStopped) {
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
