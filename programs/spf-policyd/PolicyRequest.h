// PolicyRequest reads one request of Postfix's policy protocol from the bytes of a connection:
// lines "name=value", then an empty line (https://www.postfix.org/SMTPD_POLICY_README.html).
//
// It bounds what it keeps, and replaces every byte that is not a printable ASCII character by "?",
// so that nothing in a request can add a line to an answer or to the log.
//
// A value type: each thread uses objects of its own.

#pragma once

#include <cstddef>
#include <map>
#include <string>

class PolicyRequest {
 public:
  static constexpr std::size_t kMaxLine = 2048;  // bytes, without the line feed
  static constexpr std::size_t kMaxSize = std::size_t{64} * 1024;
  static constexpr std::size_t kMaxAttributes = 100;

  // Takes the next byte. Returns whether it was the last, the line feed of the empty line. Throws a
  // StdException that says what is wrong with the request; afterwards no byte can be taken.
  bool Take(char byte);

  // Returns the last value of the attribute `name`; empty if it was not sent.
  std::string Get(const std::string& name) const;

 private:
  void TakeLine();

  std::map<std::string, std::string> m_attributes;
  std::string m_line;      // the incomplete line
  std::size_t m_size = 0;  // bytes taken
};
