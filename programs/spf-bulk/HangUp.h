// HangUp tells everybody who waits that the run has ended: one end of a pair of stream sockets is
// shut down.
//
// Any thread may use it.

#pragma once

#include <chrono>

class HangUp {
 public:
  // Throws a StdSystemException if there are no more descriptors.
  HangUp();
  ~HangUp();

  HangUp(const HangUp&) = delete;
  HangUp& operator=(const HangUp&) = delete;

  // Returns the descriptor that then becomes ready for POLLRDHUP.
  int GetDescriptor() const { return m_ends[0]; }

  void Tell();

  // Blocks until `time` or Tell().
  void WaitUntil(std::chrono::steady_clock::time_point time) const;

 private:
  int m_ends[2] = {-1, -1};
};
