// Interlocked holds the one lock that all WaitSemaphores of the process share for their counts of
// waiters. Taken for the time of one addition; never together with another lock.

#pragma once

#include "framework/core/Export.h"
#include "framework/core/Locks.h"

class FWK_EXPORT Interlocked {
 public:
  Interlocked() = delete;

  // For WaitSemaphore alone.
  inline static MutexInstance m_mtx{PTHREAD_MUTEX_RECURSIVE};
};
