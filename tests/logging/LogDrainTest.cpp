#include "tests/logging/LogThread.h"

namespace {

class LogDrainTest : public LogThread {};

}  // namespace

TEST_F(LogDrainTest, ADrainThatReturnsTrueHasWrittenEveryLineQueuedBeforeIt) {
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

TEST_F(LogDrainTest, ADrainWaitsForTheLinesOfItsOwnThreadWhileOthersLog) {
  Run([this] {
    Logger::StartAsync();
    OnThreads(8, [this](std::size_t i) {
      for (int line = 0; line < 50; ++line) {
        Logger::Log(3, "%zu %d", i, line);
      }
      EXPECT_TRUE(Logger::Drain(std::chrono::seconds(30)));
      EXPECT_TRUE(Has("Info: " + std::to_string(i) + " 49"));
    });
  });
}

TEST_F(LogDrainTest, ADrainWaitsForTheLineThatTheThreadHasTaken) {
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
      EXPECT_TRUE(StillBlocks(drain));
    }
    drain.get();
    EXPECT_TRUE(Has("Info: taken"));
  });
}

TEST_F(LogDrainTest, ADrainEndsAfterItsTimeLimitAndNotEarlier) {
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

TEST_F(LogDrainTest, ADrainEndsWhenTheThreadEnds) {
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
      EXPECT_TRUE(StillBlocks(drain));
      Logger::StopAsync();
    }
    EXPECT_TRUE(Ends(drain));
    EXPECT_FALSE(Logger::Drain(std::chrono::seconds(60)));
  });
}

TEST_F(LogDrainTest, ADrainAfterAFailureInTheThreadReturnsFalseAtOnce) {
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

TEST_F(LogDrainTest, ADrainWithNothingQueuedReturnsTrueAtOnce) {
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
