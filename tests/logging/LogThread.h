// Runs the logging thread and shows what it does. Each test starts it in a process of its own,
// which ends like a program, so the thread has ended when the test reads the log afterwards.

#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "framework/core/Locks.h"
#include "framework/logging/Logger.h"
#include "tests/logging/LogLines.h"
#include "tests/logging/LoggerSettings.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/OwnProcess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Threads.h"
#include "tests/support/Waiting.h"

using fwk::Logger;

// What the system's thread functions did, and whether they fail.
inline std::atomic<int> threadsCreated{0};
inline std::atomic<int> inheritedScheduling{-1};  // of the last thread that was created
inline std::atomic<int> creationFailure{0};       // pthread_create's result, unless 0
inline std::atomic<bool> writeLocksFail{false};   // in other threads than the one that says so
inline thread_local bool writeLocksWorkHere = false;
inline std::atomic<int> yields{0};

// Runs an action before the nth of the calls that follow, on any thread.
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

inline Before beforeReadLock;
inline Before beforeWriteLock;
inline Before beforeYield;

// Each test logs plain lines of all levels to a file in an empty directory.
class LogThread : public testing::Test {
 protected:
  void Run(const std::function<void()>& scenario) const {
    InOwnProcess([&] {
      LogPlainLinesTo(m_directory.Path() + "/");
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

  // Waits until `line` is in the log.
  void WaitFor(const std::string& line) const {
    EXPECT_TRUE(ComesTrue([&] { return Has(line); })) << line;
  }

  TemporaryDirectory m_directory;
};

// While one exists, the logging thread writes nothing and takes nothing from the queue; the thread
// that made it may log.
using Blocked = Mutex;
