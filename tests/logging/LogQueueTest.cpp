
#include <array>
#include <cstddef>
#include <filesystem>

#include "tests/logging/LogThread.h"
#include "tests/logging/SystemLog.h"
#include "tests/support/LogPrefix.h"

namespace {

class LogQueueTest : public LogThread {};

}  // namespace

TEST_F(LogQueueTest, AnErrorLineIsNeverQueuedButWrittenAtOnce) {
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

TEST_F(LogQueueTest, ALineOfLogSyncIsNeverQueued) {
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

TEST_F(LogQueueTest, EveryLevelExceptErrorIsQueuedAndWrittenByTheThreadInOrder) {
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
    Logger::Log(3, "text");
    EXPECT_TRUE(Has("Info: text"));
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

TEST_F(LogQueueTest, ALineThatTheThreadHasTakenIsWrittenEvenIfTheQueueIsClosed) {
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

TEST_F(LogQueueTest, ALineThatWouldNotBeWrittenIsNotQueued) {
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

TEST_F(LogQueueTest, AQueuedLineIsLostIfTheLocationIsEmptyWhenItIsWritten) {
  Run([this] {
    std::filesystem::current_path(m_directory.Path());  // where such a line would go
    Logger::StartAsync();
    WaitFor(kStart);
    yields = 0;  // a start may yield, too
    Logger::Init("", 0, false, false);
    for (const char* line : {"one", "two", "three"}) {
      Logger::m_LogQueue.Push(line);
    }
    EXPECT_TRUE(ComesTrue([] { return yields == 3; }));  // two of them are handled
    Logger::Init((m_directory.Path() + "/").c_str(), 0, false, false);
    Logger::Log(3, "kept");
    WaitFor("Info: kept");
    EXPECT_TRUE(Has(kStart));  // the file was not renamed
    EXPECT_FALSE(Has("one"));
    EXPECT_FALSE(Has("two"));
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

TEST_F(LogQueueTest, TheThreadYieldsBeforeItTakesALineAndWritesNothingIfThereIsNone) {
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

TEST_F(LogQueueTest, ThePrefixIsTheOneOfTheCallingThread) {
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
  const SystemLog log;
  Run([&] {
    Logger::m_bSyslog = true;
    Logger::StartAsync();
    Logger::Log(3, "text");
    Logger::Log(4, "more");
    for (const std::string& line :
         {kStart, std::string("Info: text"), std::string("Warning: more")}) {
      log.ExpectNext("PRODUCT_NAME", line);
    }
    EXPECT_TRUE(std::filesystem::is_empty(m_directory.Path()));
  });
}

TEST_F(LogQueueTest, LinesOfManyThreadsAreWrittenWholeOnceAndInTheOrderOfEachThread) {
  constexpr int kThreads = 8;
  constexpr int kLines = 500;
  const std::string filler(100, 'x');
  Run([&] {
    Logger::StartAsync();
    OnThreads(kThreads, [&filler](std::size_t i) {
      for (int line = 0; line < kLines; ++line) {
        Logger::Log(3, "%zu %s %d", i, filler.c_str(), line);
      }
    });
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

TEST_F(LogQueueTest, LinesThatAreNotQueuedSurviveAStartAndAStop) {
  constexpr int kThreads = 4;
  constexpr int kLines = 200;
  Run([] {
    std::thread startAndStop([] {
      Logger::StartAsync();
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
      Logger::StopAsync();
    });
    OnThreads(kThreads, [](std::size_t i) {
      for (int line = 0; line < kLines; ++line) {
        Logger::Log(5, "error %zu %d", i, line);
        Logger::LogSync(3, "sync %zu %d", i, line);
        Logger::Log(3, "queued %zu %d", i, line);  // may be lost
      }
    });
    startAndStop.join();
  });
  const Lines lines = Written();
  for (int i = 0; i < kThreads; ++i) {
    for (int line = 0; line < kLines; ++line) {
      const std::string end = std::to_string(i) + " " + std::to_string(line);
      EXPECT_EQ(std::count(lines.begin(), lines.end(), "Error: error " + end), 1) << end;
      EXPECT_EQ(std::count(lines.begin(), lines.end(), "Info: sync " + end), 1) << end;
      EXPECT_LE(std::count(lines.begin(), lines.end(), "Info: queued " + end), 1) << end;
    }
  }
}
