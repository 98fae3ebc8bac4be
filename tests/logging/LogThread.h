// The logging thread, and what a test watches of it. Each test starts it in a process of its own,
// which ends as a program does: what the log holds in the end, it holds after the thread's end.

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
#include "tests/support/CapturedOutput.h"
#include "tests/support/OwnProcess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Waiting.h"

using fwk::Logger;

// What the system's thread functions did, and whether they are to fail.
inline std::atomic<int> threadsCreated{0};
inline std::atomic<int> inheritedScheduling{-1};  // of the last thread that was created
inline std::atomic<int> creationFailure{0};       // pthread_create's result, unless 0
inline std::atomic<bool> writeLocksFail{false};   // in other threads than the one that says so
inline thread_local bool writeLocksWorkHere = false;
inline std::atomic<int> yields{0};

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

inline Before beforeReadLock;
inline Before beforeWriteLock;
inline Before beforeYield;

// Whether a call on another thread ends in good time.
inline bool Ends(const std::future<void>& call) {
  return call.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
}

// Whether a call on another thread is still not done after a while.
inline bool Waits(const std::future<void>& call) {
  return call.wait_for(std::chrono::milliseconds(100)) == std::future_status::timeout;
}

// Each test logs plain lines of all levels to a file in an empty directory.
class LogThread : public testing::Test {
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
