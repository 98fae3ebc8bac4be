// MessageReader reads a received DNS message and checks every read: outside the bytes received it
// gives zeros. All parsing of replies goes through it.
//
// Internal to MessageCodec and AnswerWalk. A view: the bytes belong to the caller and must outlive
// it. Any thread may read; nothing blocks.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "framework/core/Export.h"

class FWK_EXPORT MessageReader {
 public:
  // message: from its header on.
  explicit MessageReader(std::span<const unsigned char> message);

  // The number of bytes received.
  std::size_t GetSize() const;

  // Whether a position, counted from the start of the message, lies inside it.
  bool Contains(std::uint32_t at) const;

  // The byte at a position, and the number of two bytes there in network byte order.
  std::uint8_t ReadByte(std::uint32_t at) const;
  std::uint16_t ReadUint16(std::uint32_t at) const;

  // The bytes from a position to the next zero byte or to the end of the message.
  std::string ReadCString(std::uint32_t at) const;

 private:
  std::span<const unsigned char> m_message;
};
