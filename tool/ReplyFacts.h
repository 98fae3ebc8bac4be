// ReplyFacts is what a reply of a name server says, read as RFC 1035 says; so it tells where the
// look-ups of DNSSocket, which read a reply in their own way, take something else from it.
//
// A value type; any thread may use the function. Nothing blocks.

#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tool/LookUp.h"

struct ReplyFacts {
  LookUp::Outcome outcome = LookUp::Outcome::kNoAnswer;  // kMisread excepted
  std::uint8_t errorCode = 0;
  std::vector<std::string> addresses;  // of the A records, dotted quads
  std::vector<std::string> texts;      // of the TXT records, their strings joined
};

// Reads `reply`, which came for the question `query`, as MessageCodec::EncodeQuery made it. `room`
// is the size of the buffer that was offered for the reply.
ReplyFacts ReadReplyFacts(std::span<const unsigned char> reply,
                          std::span<const unsigned char> query, std::size_t room);
