// The name server of the tests of spf-bulk, on 127.0.0.1. The first label of a domain decides how
// it answers:
//
//   pass...     a record that 192.0.2.0/24 passes
//   fail...     a record that no address passes
//   broken...   a record with a bare ip4, which ends the check
//   none...     no record
//   silent...   no answer
//   lost...     no answer to the first question about the name, then as pass
//   refused...  the error code 5, REFUSED
//   cut...      an answer that says that it is truncated

#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "tests/support/ScriptedNameServer.h"

class BulkServer {
 public:
  using Clock = std::chrono::steady_clock;

  BulkServer();

  // Returns when each question came.
  std::vector<Clock::time_point> GetTimes() const;

  // Returns how many questions about `domain` came.
  std::size_t CountQuestions(const std::string& domain) const;

 private:
  Datagrams Answer(const Bytes& query);

  mutable std::mutex m_mutex;
  std::map<std::string, std::size_t> m_questions;  // guarded by m_mutex, as is the next
  std::vector<Clock::time_point> m_times;
  ScriptedNameServer m_server;  // last: its thread uses the others
};
