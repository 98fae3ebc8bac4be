// CheckBudget limits the cost of a check, including all of its nested checks, and has the observer
// of its steps.
//
// One check at a time may use a budget, on one thread. Only WaitToRead() blocks.

#pragma once

#include <chrono>
#include <cstdint>

#include "framework/core/Export.h"
#include "tool/CheckObserver.h"

class FWK_EXPORT CheckBudget {
 public:
  // The clock of the deadline.
  using Clock = std::chrono::steady_clock;

  // Allows `lookUps` look-ups, all of which must end before `deadline`. `observer` must outlive the
  // budget.
  CheckBudget(std::uint32_t lookUps, Clock::time_point deadline, CheckObserver& observer);

  CheckBudget(const CheckBudget&) = delete;
  CheckBudget& operator=(const CheckBudget&) = delete;

  // Also ends the check when the peer of `descriptor`, a stream socket, closes its end. The caller
  // keeps the descriptor.
  void EndWithHangUpOf(int descriptor);

  // Counts the look-up that is about to be made. Throws a BudgetException if it is not allowed.
  void TakeLookUp();

  // The event that ended a wait.
  enum class Wait { kReadable, kTimedOut, kDeadline, kHangUp };

  // Blocks until `descriptor` can be read, for at most `timeoutMs` milliseconds and not past the
  // deadline; signals do not prolong the wait. Throws a SocketException if poll(2) fails.
  Wait WaitToRead(int descriptor, int timeoutMs) const;

  // Returns how many look-ups were made.
  std::uint32_t GetLookUps() const { return m_made; }

  // Returns the observer that the constructor was given.
  CheckObserver& GetObserver() const { return m_observer; }

 private:
  std::uint32_t m_allowed;
  std::uint32_t m_made = 0;
  Clock::time_point m_deadline;
  CheckObserver& m_observer;
  int m_peer = -1;  // the descriptor whose hang-up ends the check, or -1
};
