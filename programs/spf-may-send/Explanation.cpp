#include "programs/spf-may-send/Explanation.h"

#include <utility>

#include "tool/SPFTerm.h"

using State = ReadRecord::Term::State;

void Explanation::Finish() {
  while (!m_levels.empty()) {
    Close();
  }
}

void Explanation::Close() {
  const Level& level = m_levels.back();
  level.record->time =
      std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - level.begin);
  m_levels.pop_back();
}

void Explanation::OnCheck(const std::string& domain) {
  auto record = std::make_unique<ReadRecord>();
  record->domain = domain;
  ReadRecord* const place = record.get();
  if (m_levels.empty()) {
    m_record = std::move(record);
  } else {
    const Level& outer = m_levels.back();
    outer.record->terms[outer.reached - 1].record = std::move(record);
  }
  m_levels.push_back({place, Clock::now()});
}

void Explanation::OnTooDeep() {
  m_levels.back().record->isTooDeep = true;
}

void Explanation::OnRecord(const std::string& record) {
  ReadRecord& place = *m_levels.back().record;
  place.text = record;
  for (const std::string& term : SplitSPFRecord(record)) {
    if (term.find_first_not_of("\n\r\t") != std::string::npos) {  // otherwise it is skipped
      place.terms.emplace_back().text = term;
    }
  }
}

void Explanation::OnLookUp(const LookUp& lookUp) {
  const Level& level = m_levels.back();
  if (lookUp.type == LookUp::Type::kTXT) {
    level.record->lookUp = lookUp;
  } else {
    level.record->terms[level.reached - 1].lookUp = lookUp;
  }
}

void Explanation::OnTerm(const std::string& term) {
  Level& level = m_levels.back();
  level.isAtTerm = !term.empty();
  if (level.isAtTerm) {
    ReadRecord::Term& place = level.record->terms[level.reached];
    place.text = term;
    place.state = State::kBegun;
    ++level.reached;
  }
}

void Explanation::OnTermDone(bool matched) {
  const Level& level = m_levels.back();
  if (level.isAtTerm) {
    level.record->terms[level.reached - 1].state = matched ? State::kMatched : State::kPassedOver;
  }
}

void Explanation::OnCheckDone(bool /*passed*/) {
  Close();
}
