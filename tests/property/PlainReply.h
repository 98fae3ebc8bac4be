// Reads a DNS reply by the rules of MessageCodec and AnswerWalk, in plain steps.

#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/Bytes.h"

// Type and value of each record.
using Answers = std::vector<std::pair<unsigned int, std::string>>;

class PlainReply {
 public:
  // Keeps a reference to `reply`.
  explicit PlainReply(const Bytes& reply) : m_reply(reply) {}

  // Returns the records from `position` on.
  Answers Walk(std::uint32_t position) const;

  // Returns the name at `position`, and how many bytes it takes there.
  std::string Name(std::uint32_t position, std::uint32_t& consumed) const;

 private:
  unsigned int At(std::uint32_t position) const;  // 0 outside the reply
  std::string Text(std::uint32_t position) const;
  std::string Address(std::uint32_t position, unsigned int rdLength) const;

  const Bytes& m_reply;
};
