// ReplyFacts is what a reply of a name server says, read as RFC 1035 says; so it tells where the
// look-ups of DNSSocket, which read a reply in their own way, take something else from it.
//
// A value type; any thread may use the function. Nothing blocks.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "framework/core/Export.h"
#include "tool/LookUp.h"

struct ReplyFacts {
  LookUp::Outcome outcome = LookUp::Outcome::kNoAnswer;  // any but kMisread
  std::uint8_t errorCode = 0;                            // RCODE of RFC 1035, section 4.1.1
  std::vector<std::string> addresses;                    // of the A records, dotted quads
  std::vector<std::string> texts;                        // of the TXT records, their strings joined
};

// Reads `reply`, which came for the question `query`, as MessageCodec::EncodeQuery made it. `room`
// is the size of the buffer that was offered for the reply. Records of a truncated reply count as
// far as they are whole, and those in front of an alias. A referral to other name servers is no
// answer.
FWK_EXPORT ReplyFacts ReadReplyFacts(std::span<const unsigned char> reply,
                                     const std::vector<unsigned char>& query, std::size_t room);
