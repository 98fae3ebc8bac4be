// MessageMemory remembers what was answered for the first recipient of a message, so that its other
// recipients get an answer that fits, on whatever connection they come.
//
// What it keeps is bounded: beyond kMaxMessages it forgets the oldest. Any thread may use it.

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
    std::string action;     // what it was answered
  };

  // Returns what was remembered of a message, if anything was.
  std::optional<Answer> Find(const std::string& message) const;

  // Remembers `answer` for `message`, unless there is one already. An empty name is no message.
  void Keep(const std::string& message, const Answer& answer);

 private:
  mutable MutexInstance m_mutex{PTHREAD_MUTEX_RECURSIVE};
  std::map<std::string, Answer> m_answers FWK_GUARDED_BY(m_mutex);
  std::deque<std::string> m_order FWK_GUARDED_BY(m_mutex);  // the oldest message first
};
