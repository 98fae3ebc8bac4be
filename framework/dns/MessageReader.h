// MessageReader reads from a DNS message and checks every access: outside the message it returns
// zeros.
//
// Internal to MessageCodec and AnswerWalk. A view: the caller owns the bytes, which must outlive
// the object. Thread-safe; nothing blocks.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "framework/core/Export.h"

class FWK_EXPORT MessageReader {
 public:
  // Reads from `message`, which begins with its header.
  explicit MessageReader(std::span<const unsigned char> message);

  // Returns the size of the message in bytes.
  std::size_t GetSize() const;

  // Returns whether the offset `at` is inside the message.
  bool Contains(std::uint32_t at) const;

  // Returns the byte at `at`.
  std::uint8_t ReadByte(std::uint32_t at) const;

  // Returns the two bytes at `at` as a number in network byte order.
  std::uint16_t ReadUint16(std::uint32_t at) const;

  // Returns the bytes from `at` to the next zero byte, or to the end of the message.
  std::string ReadCString(std::uint32_t at) const;

 private:
  std::span<const unsigned char> m_message;
};
