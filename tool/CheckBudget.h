// CheckBudget limits what a check may cost, all of its nested checks included, and has the observer
// that is told of its steps.
//
// One check at a time uses a budget, on one thread. Only WaitToRead blocks.

#pragma once

#include <chrono>
#include <cstdint>

#include "framework/core/Export.h"
#include "tool/CheckObserver.h"

class FWK_EXPORT CheckBudget {
 public:
  // The clock of the deadline.
  using Clock = std::chrono::steady_clock;

  // Allows `lookUps` look-ups, the last of which begins and ends before `deadline`. `observer` must
  // outlive the budget.
  CheckBudget(std::uint32_t lookUps, Clock::time_point deadline, CheckObserver& observer);

  CheckBudget(const CheckBudget&) = delete;
  CheckBudget& operator=(const CheckBudget&) = delete;

  // Ends the check also when the peer of `descriptor`, a stream socket, closes its end. The
  // descriptor stays the caller's.
  void EndWithHangUpOf(int descriptor);

  // Counts a look-up that is about to be made. Throws a BudgetException when it must not be made.
  void TakeLookUp();

  // What ended a wait.
  enum class Wait { kReadable, kTimedOut, kDeadline, kHangUp };

  // Blocks until `descriptor` can be read, at most `timeoutMs` milliseconds and not past the
  // deadline, also where signals arrive. Throws a SocketException when the system cannot wait.
  Wait WaitToRead(int descriptor, int timeoutMs) const;

  // Returns how many look-ups were made.
  std::uint32_t GetLookUps() const { return m_made; }

  // Returns the observer that the budget was given.
  CheckObserver& GetObserver() const { return m_observer; }

 private:
  std::uint32_t m_allowed;
  std::uint32_t m_made = 0;
  Clock::time_point m_deadline;
  CheckObserver& m_observer;
  int m_peer = -1;  // the descriptor whose hang-up ends the check; -1: none
};
