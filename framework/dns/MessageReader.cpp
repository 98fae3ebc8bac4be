#include "framework/dns/MessageReader.h"

#include <algorithm>

MessageReader::MessageReader(std::span<const unsigned char> message) : m_message(message) {}

std::size_t MessageReader::GetSize() const {
  return m_message.size();
}

bool MessageReader::Contains(std::uint32_t at) const {
  return at < m_message.size();
}

std::uint8_t MessageReader::ReadByte(std::uint32_t at) const {
  return Contains(at) ? m_message[at] : std::uint8_t{0};
}

std::uint16_t MessageReader::ReadUint16(std::uint32_t at) const {
  return static_cast<std::uint16_t>(ReadByte(at) << 8 | ReadByte(at + 1));
}

std::string MessageReader::ReadCString(std::uint32_t at) const {
  if (!Contains(at)) {
    return "";
  }
  const auto rest = m_message.subspan(at);
  return {rest.begin(), std::find(rest.begin(), rest.end(), 0)};
}
