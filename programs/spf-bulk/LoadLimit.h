// LoadLimit finds out how many checks at once the name server can take. It begins with 64, whose
// questions fit in the queue of a server's socket, and tries twice as many for a moment: if more
// checks then end in a second, it keeps that number and tries again. When an answer was lost
// because of the load, which is noticed after seconds, it halves the number and tries no more for a
// minute.
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

  // Notes the end of a check.
  void OnEnd(Clock::time_point now);

  // Notes that a check, begun at `begin`, lacked an answer that came with fewer checks under way.
  void OnLoss(Clock::time_point begin, Clock::time_point now);

 private:
  void Judge(Clock::time_point now);
  void Measure(Clock::time_point now);

  unsigned m_most;
  unsigned m_limit;
  unsigned m_proven;        // the limit before the trial
  double m_provenRate = 0;  // checks a second with it
  bool m_isTrial = false;
  unsigned m_passedOver = 0;  // checks to end before the measurement begins
  unsigned m_ended = 0;       // checks of the measurement
  Clock::time_point m_begin;  // of the measurement
  Clock::time_point m_nextTrial;
  Clock::time_point m_lastLoss;
};
