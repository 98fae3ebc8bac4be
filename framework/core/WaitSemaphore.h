// WaitSemaphore is a counting semaphore that can be shut down: Shutdown() releases all threads that
// wait, and later calls of Wait() return at once.
//
// Any thread may post and wait; one thread, the owner, shuts the semaphore down and destroys it. No
// call may begin after its destructor has returned. All operations except Post() throw if a lock
// fails (Locks.h).

#pragma once

#include <semaphore.h>

#include <atomic>
#include <cstdint>

#include "framework/core/Export.h"
#include "framework/core/Interlocked.h"  // its lock must outlive every static semaphore
#include "framework/core/Locks.h"
#include "framework/core/ThreadAnnotations.h"

class FWK_EXPORT WaitSemaphore {
 public:
  // Makes a semaphore whose count is 0.
  WaitSemaphore();

  // Shuts the semaphore down and blocks until every thread has left Wait() and TimedWait().
  virtual ~WaitSemaphore() noexcept(false);

  WaitSemaphore(const WaitSemaphore&) = delete;
  WaitSemaphore& operator=(const WaitSemaphore&) = delete;

  // Adds one to the count and returns true. Must not be called after Shutdown().
  bool Post();

  // Blocks while the count is 0, then takes one from it. Returns 0, or -1 if a signal interrupted
  // the wait while the semaphore was being shut down. After Shutdown() it returns 0 at once and
  // takes nothing.
  int Wait();

  // Waits like Wait(), but for at most `milliseconds`. Returns whether it took one from the count;
  // false at once after Shutdown().
  //
  // The deadline is the time of day plus `milliseconds`, without a carry from the nanoseconds into
  // the seconds. If the nanoseconds add up to a second or more, the deadline is invalid and the
  // call returns false at once: about (milliseconds % 1000) of 1000 calls do.
  bool TimedWait(const int& milliseconds);

  // Returns how many threads are waiting.
  std::int32_t GetWaiterCount();

  // Marks the semaphore as stopping, posts until no thread waits, and destroys the POSIX semaphore.
  // May be called more than once.
  void Shutdown();

 private:
  bool IsStopping() FWK_EXCLUDES(m_lock);
  bool Enter() FWK_EXCLUDES(m_lock);
  void Leave() FWK_EXCLUDES(m_lock);

  std::atomic<std::int32_t> m_stopping{0};  // set with m_lock held
  sem_t m_semaphore{};
  std::atomic<std::int32_t> m_waiters{0};  // changed with Interlocked::m_mtx held
  std::atomic<std::int32_t> m_inside{0};   // calls that still touch the object
  MutexInstance m_lock{PTHREAD_MUTEX_RECURSIVE};
};
