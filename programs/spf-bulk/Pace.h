// Pace spaces the beginnings of checks evenly.
//
// Any thread may use it.

#pragma once

#include <chrono>

#include "framework/core/Locks.h"
#include "framework/core/ThreadAnnotations.h"

class Pace {
 public:
  using Clock = std::chrono::steady_clock;

  explicit Pace(Clock::duration interval) : m_interval(interval) {}

  // Returns when the caller may begin; each call gets another time.
  Clock::time_point TakeTurn();

 private:
  const Clock::duration m_interval;
  MutexInstance m_lock{PTHREAD_MUTEX_RECURSIVE};
  Clock::time_point m_next FWK_GUARDED_BY(m_lock);
};
