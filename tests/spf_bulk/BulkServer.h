// The name server of the tests of spf-bulk, on 127.0.0.1. What it answers about a domain follows
// from the domain's first label:
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

  // Returns when a question came, one after another.
  std::vector<Clock::time_point> GetTimes() const;

  // Returns how many questions came about a domain.
  std::size_t CountQuestions(const std::string& domain) const;

 private:
  Datagrams Answer(const Bytes& query);

  mutable std::mutex m_mutex;
  std::map<std::string, std::size_t> m_questions;  // guarded by m_mutex, as is the next
  std::vector<Clock::time_point> m_times;
  ScriptedNameServer m_server;  // last: its thread uses the others
};

// Waits until the server was asked about a domain, at most 10 s.
void WaitForQuestion(const BulkServer& server, const std::string& domain);

// Returns the name that a query asks about.
std::string NameOf(const Bytes& query);
