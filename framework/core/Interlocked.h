// Interlocked has the lock that all WaitSemaphores of the process share for their counts of
// waiters. It is held for one addition only, and never together with another lock.

#pragma once

#include "framework/core/Export.h"
#include "framework/core/Locks.h"

class FWK_EXPORT Interlocked {
 public:
  Interlocked() = delete;

  // Only WaitSemaphore may use it.
  inline static MutexInstance m_mtx{PTHREAD_MUTEX_RECURSIVE};
};
