// Starts, runs and stops the logging thread.

#include <sched.h>

#include <memory>
#include <utility>

#include "framework/logging/Logger.h"

namespace fwk {

// Stops the thread and waits for it at the end of the process. It is made together with the thread,
// so it is destroyed before all statics that the thread uses.
class Logger::EndAtExit {
 public:
  EndAtExit() = default;
  ~EndAtExit() {
    StopAsync();
    std::unique_lock guard(m_progressLock);
    m_progress.wait(guard, [] { return m_hasThreadEnded; });
  }

  EndAtExit(const EndAtExit&) = delete;
  EndAtExit& operator=(const EndAtExit&) = delete;
};

// Notifies with the lock held: as soon as another thread knows that this one has ended, the process
// may end and destroy the lock and the condition variable.
Logger::~Logger() {
  const std::lock_guard guard(m_progressLock);
  m_hasThreadEnded = true;
  m_progress.notify_all();
}

void Logger::StartAsync() noexcept {
  try {
    const Mutex guard(m_MutexInstance, true);
    if (m_pLogger != nullptr) {
      return;
    }
    std::unique_ptr<Logger> logger(new Logger);
    {
      const std::lock_guard progressGuard(m_progressLock);
      m_hasThreadEnded = false;  // an object that could not start its thread left it true
    }
    logger->StartObjectThread(true, -1);
    m_pLogger = logger.release();  // it deletes itself
    m_bAsync = true;
    static const EndAtExit endAtExit;
  } catch (...) {  // without a thread, lines are written at once
  }
}

void Logger::StopAsync() noexcept {
  try {
    if (!m_bAsync) {
      return;
    }
    const Mutex guard(m_MutexInstance, true);
    m_bAsync = false;
    m_LogQueue.Close();
  } catch (...) {  // logging never throws
  }
}

// Counts the line before it is in the queue, so that the count is never too low.
void Logger::HandToThread(std::string line) {
  ++m_handed;
  try {
    m_LogQueue.Push(std::move(line));
  } catch (...) {
    --m_handed;
    throw;
  }
}

void Logger::CountWritten() {
  const std::lock_guard guard(m_progressLock);
  ++m_written;
  m_progress.notify_all();
}

bool Logger::Drain(std::chrono::milliseconds atMost) noexcept {
  try {
    const auto deadline = std::chrono::steady_clock::now() + atMost;
    const std::uint64_t handed = m_handed;
    std::unique_lock guard(m_progressLock);
    m_progress.wait_until(guard, deadline, [&] { return m_written >= handed || m_hasThreadEnded; });
    return m_written >= handed;
  } catch (...) {  // logging never throws
    return false;
  }
}

std::uint32_t Logger::ObjectThreadMethod() {
  LogSync(Debug, "Logger::ObjectThreadMethod - start");
  try {
    WriteQueuedLines();
  } catch (...) {
    LogSync(Error, "Unknown error in Logger::ObjectThreadMethod");
  }
  LogSync(Debug, "Logger::ObjectThreadMethod - end");
  return 0;
}

void Logger::WriteQueuedLines() {
  while (m_bRunning) {
    if (!m_LogQueue.IsClosed()) {
      m_LogQueue.Wait();
    }
    sched_yield();
    std::string line;
    const bool taken = m_LogQueue.Pop(line);
    if (m_LogQueue.IsClosed()) {
      return;
    }
    if (taken && HasLocation()) {
      WriteLine(std::move(line));
    }
    if (taken) {
      CountWritten();
    }
  }
}

}  // namespace fwk
