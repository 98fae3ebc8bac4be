// Builds a DNS reply byte by byte (RFC 1035, section 4), well formed or not.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/Bytes.h"

class ReplyBuilder {
 public:
  // Begins a reply to `query` with its ID, the flags of a response, and its question without the
  // bytes that follow it. The answer count is the number of records, unless SetAnswerCount sets it.
  explicit ReplyBuilder(const Bytes& query);

  // Adds a record of class IN and TTL 300 whose owner is the question's name.
  ReplyBuilder& A(std::string_view dottedQuad);
  ReplyBuilder& NS(std::string_view host);
  ReplyBuilder& MX(std::uint16_t preference, std::string_view host);
  ReplyBuilder& TXT(const std::vector<std::string>& strings);
  ReplyBuilder& CNAME(std::string_view host);
  ReplyBuilder& Record(std::uint16_t type, const Bytes& rdata);

  // The same with an RDLENGTH that may differ from the length of `rdata`.
  ReplyBuilder& Record(std::uint16_t type, std::uint16_t rdLength, const Bytes& rdata);

  // Adds bytes as they are.
  ReplyBuilder& Raw(const Bytes& bytes);

  ReplyBuilder& SetAnswerCount(std::uint16_t count);
  ReplyBuilder& SetId(std::uint16_t id);
  ReplyBuilder& SetFlags(std::uint16_t flags);

  // Returns the reply.
  const Bytes& Build() const { return m_reply; }

  // Returns a name as labels, without compression, and its zero byte.
  static Bytes Name(std::string_view dotted);

 private:
  void Put16(std::size_t at, std::uint16_t value);
  void Append16(std::uint16_t value);

  Bytes m_reply;
  std::uint16_t m_answers = 0;
};
