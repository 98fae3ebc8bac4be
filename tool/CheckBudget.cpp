#include "tool/CheckBudget.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <climits>

#include "framework/net/Socket.h"
#include "tool/BudgetException.h"

using std::chrono::milliseconds;

namespace {

// Returns the time until `end` as poll(2) takes it.
int MillisecondsUntil(CheckBudget::Clock::time_point end) {
  const auto left = std::chrono::ceil<milliseconds>(end - CheckBudget::Clock::now()).count();
  return static_cast<int>(std::clamp<decltype(left)>(left, 0, INT_MAX));
}

}  // namespace

CheckBudget::CheckBudget(std::uint32_t lookUps, Clock::time_point deadline, CheckObserver& observer)
    : m_allowed(lookUps), m_deadline(deadline), m_observer(observer) {}

void CheckBudget::EndWithHangUpOf(int descriptor) {
  m_peer = descriptor;
}

void CheckBudget::TakeLookUp() {
  if (Clock::now() >= m_deadline) {
    throw BudgetException(BudgetException::Reason::kTime);
  }
  if (m_made == m_allowed) {
    throw BudgetException(BudgetException::Reason::kLookUps);
  }
  ++m_made;
}

CheckBudget::Wait CheckBudget::WaitToRead(int descriptor, int timeoutMs) const {
  const Clock::time_point end = std::min(m_deadline, Clock::now() + milliseconds(timeoutMs));
  pollfd events[] = {{descriptor, POLLIN, 0}, {m_peer, POLLRDHUP, 0}};  // poll(2) ignores -1
  int ready = 0;
  do {
    ready = poll(events, std::size(events), MillisecondsUntil(end));
  } while (ready < 0 && errno == EINTR);
  if (ready < 0) {
    Socket::ThrowSocketError("CheckBudget::WaitToRead - poll", 0);
  }
  if (events[0].revents != 0) {
    return Wait::kReadable;
  }
  if (ready > 0) {
    return Wait::kHangUp;
  }
  return end == m_deadline ? Wait::kDeadline : Wait::kTimedOut;
}
