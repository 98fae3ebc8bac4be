// The reading of a DNS reply, with the rules of MessageCodec and AnswerWalk put a second time, in
// plain steps.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/ReplyBuilder.h"

// Type and value of each record.
using Answers = std::vector<std::pair<unsigned int, std::string>>;

class PlainReply {
 public:
  // A view: the bytes belong to the caller.
  explicit PlainReply(const Bytes& reply) : m_reply(reply) {}

  // The records from a position on.
  Answers Walk(std::uint32_t position) const;

  // The name at a position, and how many bytes it takes up there.
  std::string Name(std::uint32_t position, std::uint32_t& consumed) const;

 private:
  unsigned int At(std::uint32_t position) const;
  std::string Text(std::uint32_t position) const;
  std::string Address(std::uint32_t position, unsigned int rdLength) const;

  const Bytes& m_reply;
};
