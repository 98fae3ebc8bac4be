// MessageCodec writes DNS queries and reads the names and texts of replies (RFC 1035, section 4).
//
// A query differs from the RFC: eight zero bytes follow the question. nsd, named and unbound ignore
// them; a server that does not, such as knot, returns an error. Reading a reply of a hostile server
// is safe, but may return a wrong text.
//
// Thread-safe; nothing blocks.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "framework/core/Export.h"

class FWK_EXPORT MessageCodec {
 public:
  MessageCodec() = delete;

  // The size of the largest message, in bytes.
  static constexpr std::size_t kMaxMessage = 1024;

  // Record types (RFC 1035, section 3.2.2).
  static constexpr std::uint16_t kTypeA = 1;
  static constexpr std::uint16_t kTypeNS = 2;
  static constexpr std::uint16_t kTypeMX = 15;
  static constexpr std::uint16_t kTypeTXT = 16;

  // Returns a query for the records of one type, class IN, with recursion desired (RFC 1035,
  // sections 4.1.1 and 4.1.2). If the encoded name has a zero byte before its end, the query asks
  // for the name up to there. Throws StdException "MessageCodec::EncodeQuery - domain name too
  // long" if the query does not fit kMaxMessage bytes.
  static std::vector<unsigned char> EncodeQuery(const std::string& domain, std::uint16_t type,
                                                std::uint16_t id);

  // Returns the offset of the answers, in bytes, in a reply to `query`. Assumes that the reply
  // repeats the question in the same length.
  static std::uint32_t GetAnswerStart(const std::vector<unsigned char>& query);

  // Returns `domain` as labels with their lengths and a zero byte at the end (RFC 1035,
  // section 3.1). Characters are copied unchanged. The length of a label is taken modulo 256 and
  // not checked; an empty label, before, after or between dots, becomes a zero byte.
  static std::string EncodeName(const std::string& domain);

  // Returns how many bytes the name at `at` takes up there, without the targets of pointers; 1 for
  // the root, even if a pointer leads to it.
  static std::uint32_t MeasureName(std::span<const unsigned char> reply, std::uint32_t at);

  // Returns the name at `at`, compressed or not (RFC 1035, section 4.1.4), without a dot at its
  // end; empty for the root. Sets `consumed` to MeasureName().
  //
  // The name ends early at a pointer out of the message, when it has more pointers than the message
  // has bytes, or after 1024 bytes.
  static std::string DecodeName(std::span<const unsigned char> reply, std::uint32_t at,
                                std::uint32_t& consumed);

  // Returns the text of a TXT record whose RDATA is at `at` (RFC 1035, section 3.3.14): the bytes
  // after the first length byte up to the next zero byte, or to the end of the reply. The length
  // bytes of further strings stay in the text.
  //
  // Sets `consumed` to the length of the text minus one. The text usually runs over the two bytes
  // of the pointer with which the next record begins, and the walk goes on at that pointer. After
  // an empty text the walk steps back by one (2^32 - 1).
  static std::string DecodeText(std::span<const unsigned char> reply, std::uint32_t at,
                                std::uint32_t& consumed);
};
