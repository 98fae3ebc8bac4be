// MessageMemory remembers the answer for the first recipient of a message, so that its other
// recipients get a consistent answer, even on other connections.
//
// Beyond kMaxMessages it forgets the oldest message. Any thread may use it.

#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <optional>
#include <string>

#include "framework/core/Locks.h"
#include "framework/core/ThreadAnnotations.h"

class MessageMemory {
 public:
  static constexpr std::size_t kMaxMessages = 10000;

  struct Answer {
    std::string recipient;  // the first one
    std::string action;     // the answer for it
  };

  // Returns the answer for `message`, if one is remembered.
  std::optional<Answer> Find(const std::string& message) const;

  // Remembers `answer` for `message`, unless it has one already. Ignores an empty name.
  void Keep(const std::string& message, const Answer& answer);

 private:
  mutable MutexInstance m_mutex{PTHREAD_MUTEX_RECURSIVE};
  std::map<std::string, Answer> m_answers FWK_GUARDED_BY(m_mutex);
  std::deque<std::string> m_order FWK_GUARDED_BY(m_mutex);  // the oldest message first
};
