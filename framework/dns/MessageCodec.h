// MessageCodec writes a DNS query and reads the names and texts of a reply (RFC 1035, section 4).
//
// It keeps no state and never blocks; any thread may use it. Queries go beyond the RFC in one
// point: eight zero bytes follow the question. nsd, named and unbound ignore them; a server that
// does not, such as knot, answers with an error and no records. Reading is trusting: what an honest
// server sends comes out, and what a hostile one sends can give a wrong text but nothing worse.

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

  // The largest message written and read, in bytes.
  static constexpr std::size_t kMaxMessage = 1024;

  // The record types that are asked for or understood (RFC 1035, section 3.2.2).
  static constexpr std::uint16_t kTypeA = 1;
  static constexpr std::uint16_t kTypeNS = 2;
  static constexpr std::uint16_t kTypeMX = 15;
  static constexpr std::uint16_t kTypeTXT = 16;

  // The datagram that asks for the records of one type, class IN, with recursion desired: header
  // and question (RFC 1035, sections 4.1.1 and 4.1.2), id, type and all other numbers in network
  // byte order. Where the encoded name holds a zero byte early, it asks for the name up to there.
  // Throws StdException "MessageCodec::EncodeQuery - domain name too long" when it does not fit
  // kMaxMessage bytes.
  static std::vector<unsigned char> EncodeQuery(const std::string& domain, std::uint16_t type,
                                                std::uint16_t id);

  // Where the answers of the reply to query begin, in bytes from its start: the question of the
  // reply is taken to be as long as the one sent.
  static std::uint32_t GetAnswerStart(const std::vector<unsigned char>& query);

  // The domain as length-prefixed labels with a zero byte behind them (RFC 1035, section 3.1).
  // Characters are copied as they are. A label's length is taken modulo 256 and not checked; an
  // empty label, as two dots or one in front or behind make it, gives a zero byte of its own.
  static std::string EncodeName(const std::string& domain);

  // How many bytes the name that starts at a position of the reply takes up there, pointer targets
  // not counted: 1 for the root, even where a pointer leads to it. For names that nobody reads.
  static std::uint32_t MeasureName(std::span<const unsigned char> reply, std::uint32_t at);

  // The name that starts at a position of the reply, compressed or not (RFC 1035, section 4.1.4),
  // without a dot behind it; empty for the root. consumed: as MeasureName.
  //
  // A pointer out of the message, more pointers than the message has bytes, and more than 1024
  // bytes of name end the name as its zero byte would.
  static std::string DecodeName(std::span<const unsigned char> reply, std::uint32_t at,
                                std::uint32_t& consumed);

  // The text of a TXT record whose RDATA starts at a position of the reply (RFC 1035, section
  // 3.3.14): the bytes behind the first length byte up to the next zero byte, or to the end of the
  // reply. The length bytes of further strings stay in the text.
  //
  // consumed: one less than the length of the text. Two bytes of the text are then those of the
  // pointer with which the next record's name begins, and the walk goes on right there. For an
  // empty text it steps back by one (2^32 - 1).
  static std::string DecodeText(std::span<const unsigned char> reply, std::uint32_t at,
                                std::uint32_t& consumed);
};
