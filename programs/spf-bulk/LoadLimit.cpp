#include "programs/spf-bulk/LoadLimit.h"

#include <algorithm>

using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

constexpr unsigned kFirstLimit = 64;
constexpr milliseconds kShortestMeasurement{50};
constexpr seconds kTrialPause{5};  // after a trial in vain
constexpr seconds kLossPause{60};
constexpr double kLeastGain = 0.25;  // of the gain that the additional checks could bring
constexpr double kWeight = 0.25;     // of a measurement, compared with earlier ones

}  // namespace

LoadLimit::LoadLimit(unsigned most)
    : m_most(most), m_limit(std::min(most, kFirstLimit)), m_proven(m_limit) {
  Measure(Clock::now());
}

void LoadLimit::OnEnd(Clock::time_point now) {
  if (m_passedOver > 0) {
    --m_passedOver;
    m_begin = now;
  } else if (++m_ended >= m_limit && now - m_begin >= kShortestMeasurement) {
    Judge(now);
    Measure(now);
  }
}

void LoadLimit::OnLoss(Clock::time_point begin, Clock::time_point now) {
  if (begin < m_lastLoss) {
    return;  // it began with another limit
  }
  m_limit = std::max(m_limit / 2, 1U);
  m_lastLoss = now;
  m_isTrial = false;
  m_nextTrial = now + kLossPause;
  Measure(now);
}

// Changes the limit by the measured rate.
void LoadLimit::Judge(Clock::time_point now) {
  const double rate = m_ended / std::chrono::duration<double>(now - m_begin).count();
  const double increase = static_cast<double>(m_limit) / m_proven - 1;
  const bool isVain = m_isTrial && rate < m_provenRate * (1 + kLeastGain * increase);
  if (isVain) {
    m_limit = m_proven;
    m_nextTrial = now + kTrialPause;
  } else {
    const bool isNew = m_isTrial || m_provenRate == 0;
    m_provenRate = isNew ? rate : m_provenRate + (rate - m_provenRate) * kWeight;
    m_proven = m_limit;
  }
  m_isTrial = !isVain && m_limit < m_most && now >= m_nextTrial;
  if (m_isTrial) {
    m_limit = m_limit > m_most / 2 ? m_most : m_limit * 2;
  }
}

// Begins a new measurement after the checks of the old limit.
void LoadLimit::Measure(Clock::time_point now) {
  m_passedOver = m_limit;
  m_ended = 0;
  m_begin = now;
}
