#include "framework/dns/AnswerWalk.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>

#include "framework/dns/MessageCodec.h"
#include "framework/dns/MessageReader.h"

namespace {

constexpr std::uint32_t kAnswerCountOffset = 6;
constexpr std::uint32_t kRecordLengthOffset = 8;  // after TYPE, CLASS and TTL
constexpr std::uint32_t kRecordDataOffset = 10;

}  // namespace

AnswerWalk::AnswerWalk(std::span<const unsigned char> reply, std::uint32_t answerStart)
    : m_reply(reply),
      m_at(answerStart),
      m_left(MessageReader(reply).ReadUint16(kAnswerCountOffset)) {}

bool AnswerWalk::Next(Answer& answer) {
  const MessageReader reader(m_reply);
  if (m_left == 0 || !reader.Contains(m_at)) {
    return false;
  }
  --m_left;
  m_at += MessageCodec::MeasureName(m_reply, m_at);  // of the owner
  answer.type = reader.ReadUint16(m_at);
  const std::uint16_t length = reader.ReadUint16(m_at + kRecordLengthOffset);
  m_at += kRecordDataOffset;
  answer.value = ReadValue(answer.type, length);
  return true;
}

// Returns the value of the record whose RDATA begins at m_at, and moves on to the next record.
std::string AnswerWalk::ReadValue(std::uint16_t type, std::uint16_t length) {
  std::string value;
  std::uint32_t consumed = 0;
  switch (type) {
    case MessageCodec::kTypeA:
      value = ReadAddress(length);
      consumed = length;
      break;
    case MessageCodec::kTypeTXT:
      value = MessageCodec::DecodeText(m_reply, m_at, consumed);
      break;
    case MessageCodec::kTypeNS:
    // The preference before the name of an MX record is not skipped: if it is below 256, its first
    // byte is zero and reads as the root.
    case MessageCodec::kTypeMX:
      value = MessageCodec::DecodeName(m_reply, m_at, consumed);
      break;
    default:
      break;
  }
  m_at += consumed;
  return value;
}

// Returns the first four bytes of RDATA as a dotted quad; bytes that the record lacks are zero.
std::string AnswerWalk::ReadAddress(std::uint16_t length) const {
  std::array<unsigned char, 4> octets{};
  const auto count = std::min<std::uint32_t>(length, octets.size());
  for (std::uint32_t i = 0; i < count; ++i) {
    octets[i] = MessageReader(m_reply).ReadByte(m_at + i);
  }
  std::array<char, INET_ADDRSTRLEN> text{};
  inet_ntop(AF_INET, octets.data(), text.data(), text.size());
  return text.data();
}
