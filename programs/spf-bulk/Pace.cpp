#include "programs/spf-bulk/Pace.h"

#include <algorithm>

Pace::Clock::time_point Pace::TakeTurn() {
  const Mutex guard(m_lock, true);
  const Clock::time_point turn = std::max(m_next, Clock::now());
  m_next = turn + m_interval;
  return turn;
}
