// ReplyFacts is the content of a name server's reply, read according to RFC 1035. DNSSocket reads
// replies in its own way; a comparison shows where it has read something else.
//
// A value type; the function is thread-safe. Nothing blocks.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "framework/core/Export.h"
#include "tool/LookUp.h"

struct ReplyFacts {
  LookUp::Outcome outcome = LookUp::Outcome::kNoAnswer;  // never kMisread
  std::uint8_t errorCode = 0;                            // the RCODE (RFC 1035, section 4.1.1)
  std::vector<std::string> addresses;                    // of the A records, dotted quads
  std::vector<std::string> texts;                        // of the TXT records, their strings joined
};

// Reads `reply`, which answers a `query` of MessageCodec::EncodeQuery(). `room` is the size of the
// buffer into which the reply was received. Includes the complete records of a truncated reply and
// the records before an alias. A referral to other name servers is not an answer.
FWK_EXPORT ReplyFacts ReadReplyFacts(std::span<const unsigned char> reply,
                                     const std::vector<unsigned char>& query, std::size_t room);
