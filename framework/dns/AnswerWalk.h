// AnswerWalk iterates over the answers of a DNS reply (RFC 1035, section 4.1) and returns the value
// of each record as a text.
//
// It trusts the reply and differs from the RFC. It reads only the answer count of the header, and
// only the RDLENGTH of A records. After a record of an unknown type (CNAME, SOA) it goes on inside
// the data of that record, so it does not find an address that follows an alias. It ends with the
// answer count or the end of the reply; its cost depends on the records that the reply really has.
//
// A view: the caller owns the reply, which must outlive the object. One thread at a time may use an
// object; nothing blocks.

#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "framework/core/Export.h"

class FWK_EXPORT AnswerWalk {
 public:
  // One record.
  struct Answer {
    // The TYPE of the record (RFC 1035, section 3.2.2); MessageCodec has constants for it.
    std::uint16_t type = 0;

    // A dotted quad for A, a host name for NS, the unchanged bytes of the text for TXT. Empty for
    // other types and for an MX record whose preference, which is read as the name, is below 256.
    std::string value;
  };

  // Walks over `reply`, which begins with its header. `answerStart` is the offset of the first
  // answer in bytes (MessageCodec::GetAnswerStart()).
  AnswerWalk(std::span<const unsigned char> reply, std::uint32_t answerStart);

  // Reads the next record into `answer`. Returns false if there is none.
  bool Next(Answer& answer);

 private:
  std::string ReadValue(std::uint16_t type, std::uint16_t length);
  std::string ReadAddress(std::uint16_t length) const;

  std::span<const unsigned char> m_reply;
  std::uint32_t m_at;    // the current offset; may wrap, because an empty text steps back by one
  std::uint16_t m_left;  // how many more records the header promises
};
