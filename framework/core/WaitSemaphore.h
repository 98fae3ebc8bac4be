// WaitSemaphore is a counting semaphore with an orderly end: Shutdown() releases all who wait, and
// whoever comes later does not wait any more.
//
// Any thread may post and wait; one thread, the owner, shuts it down and destroys it. Nobody may
// begin to use it once its destructor has returned. All but Post() throw where a lock fails
// (Locks.h).

#pragma once

#include <semaphore.h>

#include <atomic>
#include <cstdint>

#include "framework/core/Export.h"
#include "framework/core/Interlocked.h"  // for its lock, which must outlive every static semaphore
#include "framework/core/Locks.h"
#include "framework/core/ThreadAnnotations.h"

class FWK_EXPORT WaitSemaphore {
 public:
  // Count 0, open.
  WaitSemaphore();

  // Shutdown(); returns when everyone who waited has left.
  virtual ~WaitSemaphore() noexcept(false);

  WaitSemaphore(const WaitSemaphore&) = delete;
  WaitSemaphore& operator=(const WaitSemaphore&) = delete;

  // Adds one to the count; returns true. Not to be called after Shutdown().
  bool Post();

  // Takes one from the count; blocks while it is 0. Returns the result of sem_wait: 0, or -1 when a
  // signal interrupted the wait of a semaphore that is being shut down. After Shutdown() returns 0
  // at once and takes nothing.
  int Wait();

  // As Wait, for at most so many milliseconds; whether one was taken. False at once after
  // Shutdown().
  //
  // The deadline is the time of day plus the wait, without a carry from its nanoseconds into its
  // seconds. A sum of a second or more is no valid deadline, and the call then takes nothing and
  // returns false at once: so do about (milliseconds % 1000) of 1000 calls.
  bool TimedWait(const int& milliseconds);

  // How many threads wait right now.
  std::int32_t GetWaiterCount();

  // Marks the semaphore as stopping, posts until no one waits any more, and destroys what lies
  // under it. May be called again.
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
