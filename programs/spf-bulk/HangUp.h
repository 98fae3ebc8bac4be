// HangUp is what tells everybody who waits for something that the run has ended: a pair of stream
// sockets, of which one end is shut down then.
//
// Any thread may use it.

#pragma once

#include <chrono>

class HangUp {
 public:
  // Throws a StdSystemException when there are no more descriptors.
  HangUp();
  ~HangUp();

  HangUp(const HangUp&) = delete;
  HangUp& operator=(const HangUp&) = delete;

  // Returns the descriptor that becomes ready for POLLRDHUP.
  int GetDescriptor() const { return m_ends[0]; }

  // Tells everybody.
  void Tell();

  // Blocks until `time`, or until everybody is told.
  void WaitUntil(std::chrono::steady_clock::time_point time) const;

 private:
  int m_ends[2] = {-1, -1};
};
