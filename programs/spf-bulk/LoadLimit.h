// LoadLimit finds out how many checks may be under way so that the name server bears them. It
// begins with 64, whose questions fit into the queue of a server's socket, and tries twice as many
// for a moment: if more checks end in a second then, it stays with that and goes on. Once an answer
// was lost because of the load, which takes seconds to be seen, it halves the number and tries no
// more for a minute.
//
// One thread at a time.

#pragma once

#include <chrono>

class LoadLimit {
 public:
  using Clock = std::chrono::steady_clock;

  // `most`: the largest number, at least 1.
  explicit LoadLimit(unsigned most);

  unsigned Get() const { return m_limit; }

  // Notes that a check has ended.
  void OnEnd(Clock::time_point now);

  // Notes that a check, begun at `begin`, lacked an answer that came when fewer were under way.
  void OnLoss(Clock::time_point begin, Clock::time_point now);

 private:
  void Judge(Clock::time_point now);
  void Measure(Clock::time_point now);

  unsigned m_most;
  unsigned m_limit;
  unsigned m_proven;        // the limit before the trial
  double m_provenRate = 0;  // checks a second with it
  bool m_isTrial = false;
  unsigned m_passedOver = 0;  // checks that end before the measurement begins
  unsigned m_ended = 0;       // checks of the measurement
  Clock::time_point m_begin;  // of the measurement
  Clock::time_point m_nextTrial;
  Clock::time_point m_lastLoss;
};
