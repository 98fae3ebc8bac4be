// AnswerWalk goes through the answer section of a DNS reply (RFC 1035, section 4.1) and gives the
// value of each record as one text.
//
// It trusts the reply: of the header it reads the answer count alone, and it steps on by rules of
// its own for each type, some of which differ from the RFC. Only type A is skipped by its RDLENGTH.
// After any type it does not know (CNAME, SOA) it goes on inside that record's data, so an address
// behind an alias is not found. A walk ends with the answer count or the end of the reply. Its cost
// grows with the records that are there and the names that they give, not with those claimed.
//
// A view: the reply belongs to the caller and must outlive it. One thread at a time; nothing
// blocks.

#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "framework/core/Export.h"

class FWK_EXPORT AnswerWalk {
 public:
  // What one record holds.
  struct Answer {
    // TYPE (RFC 1035, section 3.2.2), as in MessageCodec.
    std::uint16_t type = 0;

    // For A a dotted quad, for NS a host name, for TXT the bytes of its text as they came. Empty
    // for what has no value, and for MX with a preference below 256: it is read as the name.
    std::string value;
  };

  // reply: from its header on. answerStart: where the first answer record begins, in bytes from the
  // start of the reply (MessageCodec::GetAnswerStart).
  AnswerWalk(std::span<const unsigned char> reply, std::uint32_t answerStart);

  // Reads the next record into answer; false when there is none left.
  bool Next(Answer& answer);

 private:
  std::string ReadValue(std::uint16_t type, std::uint16_t length);
  std::string ReadAddress(std::uint16_t length) const;

  std::span<const unsigned char> m_reply;
  std::uint32_t m_at;    // wraps: a text of no bytes steps back by one
  std::uint16_t m_left;  // records that the header still promises
};
