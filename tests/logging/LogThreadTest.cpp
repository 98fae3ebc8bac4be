#include "tests/logging/LogThread.h"

namespace {

class LogThreadTest : public LogThread {};

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

TEST_F(LogThreadTest, TheStartAndTheEndOfTheThreadHaveTheLevelDebug) {
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

TEST_F(LogThreadTest, CallsOfStartAsyncOnManyThreadsStartOneThread) {
  Run([] {
    constexpr int kThreads = 8;
    OnThreads(kThreads, [](std::size_t) { Logger::StartAsync(); });
    EXPECT_EQ(threadsCreated, kThreads + 1);
  });
  EXPECT_EQ(Written(), (Lines{kStart, kEnd}));
}

TEST_F(LogThreadTest, StartAsyncAfterStopAsyncStartsNoThread) {
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

TEST_F(LogThreadTest, ThePointerToTheObjectIsSetByAStartAndNeverReset) {
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

TEST_F(LogThreadTest, AFailedStopThrowsNothingAndChangesNothing) {
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

TEST_F(LogThreadTest, TheResultOfTheThreadIsZero) {
  Run([] {
    const Blocked blocked(Logger::m_MutexInstance, true);  // so that the thread's object stays
    Logger::StartAsync();
    Logger::StopAsync();
    EXPECT_EQ(Logger::m_pLogger->ObjectThreadMethod(), 0U);
  });
  EXPECT_EQ(Written(), (Lines{kStart, kEnd, kStart, kEnd}));
}

TEST_F(LogThreadTest, AThreadThatIsToldToEndTakesNoMoreLines) {
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

TEST_F(LogThreadTest, AFailureInTheThreadIsAnErrorLineAndEndsItAndLaterLinesStayQueued) {
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

TEST_F(LogThreadTest, AfterAFailedStartLinesAreWrittenAtOnceAndTheNextStartTriesAgain) {
  Run([this] {
    creationFailure = EAGAIN;
    Logger::StartAsync();
    EXPECT_EQ(Logger::m_pLogger, nullptr);
    EXPECT_FALSE(Logger::m_bAsync);
    Logger::Log(3, "at once");
    EXPECT_EQ(Text(), "Info: at once\n");
    creationFailure = 0;
    Logger::StartAsync();
    EXPECT_NE(Logger::m_pLogger, nullptr);
    EXPECT_TRUE(Logger::m_bAsync);
    Logger::Log(3, "text");
    WaitFor("Info: text");
  });
  EXPECT_EQ(Written(), (Lines{"Info: at once", kStart, "Info: text", kEnd}));
}

TEST_F(LogThreadTest, StopAsyncWithoutAThreadDoesNotTakeTheLock) {
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
      EXPECT_TRUE(StillBlocks(call));
      EXPECT_EQ(Logger::m_pLogger, nullptr);
      EXPECT_FALSE(Logger::m_bAsync);
    }
    call.get();
    EXPECT_TRUE(Logger::m_bAsync);
    {
      const Mutex lock(Logger::m_MutexInstance, true);
      call = std::async(std::launch::async, Logger::StopAsync);
      EXPECT_TRUE(StillBlocks(call));
      EXPECT_TRUE(Logger::m_bAsync);
      EXPECT_FALSE(Logger::m_LogQueue.IsClosed());
    }
    call.get();
    EXPECT_FALSE(Logger::m_bAsync);
    EXPECT_TRUE(Logger::m_LogQueue.IsClosed());
  });
}
