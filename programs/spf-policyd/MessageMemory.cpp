#include "programs/spf-policyd/MessageMemory.h"

std::optional<MessageMemory::Answer> MessageMemory::Find(const std::string& message) const {
  const Mutex guard(m_mutex, true);
  const auto found = m_answers.find(message);
  return found != m_answers.end() ? std::optional(found->second) : std::nullopt;
}

void MessageMemory::Keep(const std::string& message, const Answer& answer) {
  if (message.empty()) {
    return;
  }
  const Mutex guard(m_mutex, true);
  if (!m_answers.emplace(message, answer).second) {
    return;
  }
  m_order.push_back(message);
  if (m_order.size() > kMaxMessages) {
    m_answers.erase(m_order.front());
    m_order.pop_front();
  }
}
