#include "tool/ReplyFacts.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cctype>

#include "framework/dns/MessageCodec.h"
#include "framework/dns/MessageReader.h"

namespace {

constexpr std::uint32_t kHeaderSize = 12;
constexpr std::uint8_t kResponse = 0x80;   // in the first byte of the flags
constexpr std::uint8_t kTruncated = 0x02;  // in the same byte
constexpr std::uint8_t kErrorCode = 0x0F;  // in the second byte of the flags
constexpr std::uint8_t kNameError = 3;
constexpr std::uint16_t kTypeCNAME = 5;
constexpr std::uint16_t kTypeDNAME = 39;
constexpr std::uint8_t kFirstPointerByte = 192;

// The resource records of a reply, one after the other.
class Records {
 public:
  Records(const MessageReader& reply, std::uint32_t at) : m_reply(reply), m_at(at) {}

  // Reads the next record. Returns false when the reply ends before the record does.
  bool Next() {
    SkipName();
    m_type = m_reply.ReadUint16(m_at);
    m_length = m_reply.ReadUint16(m_at + 8);
    m_data = m_at + 10;
    m_at = m_data + m_length;
    return m_at <= m_reply.GetSize();
  }

  std::uint16_t Type() const { return m_type; }

  std::string Address() const {
    std::array<unsigned char, 4> octets{};
    for (std::uint32_t i = 0; i < octets.size(); ++i) {
      octets[i] = m_reply.ReadByte(m_data + i);
    }
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, octets.data(), text.data(), text.size());
    return text.data();
  }

  // Returns the strings of a TXT record, joined.
  std::string Text() const {
    std::string text;
    std::uint32_t at = m_data;
    while (at < m_at) {
      const std::uint32_t end = std::min<std::uint32_t>(at + 1 + m_reply.ReadByte(at), m_at);
      while (++at < end) {
        text += static_cast<char>(m_reply.ReadByte(at));
      }
    }
    return text;
  }

 private:
  void SkipName() {
    while (m_reply.ReadByte(m_at) != 0 && m_reply.ReadByte(m_at) < kFirstPointerByte) {
      m_at += 1 + m_reply.ReadByte(m_at);
    }
    m_at += m_reply.ReadByte(m_at) == 0 ? 1 : 2;
  }

  const MessageReader& m_reply;
  std::uint32_t m_at;
  std::uint32_t m_data = 0;
  std::uint16_t m_type = 0;
  std::uint16_t m_length = 0;
};

// Returns whether the reply repeats the question of the query; a server may change the case of the
// name.
bool IsSameQuestion(std::span<const unsigned char> reply, std::span<const unsigned char> query) {
  const std::uint32_t end = MessageCodec::GetAnswerStart({query.begin(), query.end()});
  return reply.size() >= end &&
         std::equal(query.begin() + kHeaderSize, query.begin() + end, reply.begin() + kHeaderSize,
                    [](unsigned char a, unsigned char b) { return tolower(a) == tolower(b); });
}

LookUp::Outcome ReadAnswers(Records records, std::uint16_t count, ReplyFacts& facts) {
  for (std::uint16_t i = 0; i < count; ++i) {
    if (!records.Next()) {
      return LookUp::Outcome::kTruncated;
    }
    switch (records.Type()) {
      case MessageCodec::kTypeA:
        facts.addresses.push_back(records.Address());
        break;
      case MessageCodec::kTypeTXT:
        facts.texts.push_back(records.Text());
        break;
      case kTypeCNAME:
      case kTypeDNAME:
        return LookUp::Outcome::kAlias;
      default:
        break;
    }
  }
  return LookUp::Outcome::kAnswered;
}

}  // namespace

ReplyFacts ReadReplyFacts(std::span<const unsigned char> reply,
                          std::span<const unsigned char> query, std::size_t room) {
  const MessageReader reader(reply);
  ReplyFacts facts;
  const std::uint8_t flags = reader.ReadByte(2);
  if (reply.size() < kHeaderSize || (flags & kResponse) == 0) {
    return facts;
  }
  facts.errorCode = reader.ReadByte(3) & kErrorCode;
  if (facts.errorCode != 0 && facts.errorCode != kNameError) {
    facts.outcome = LookUp::Outcome::kErrorCode;
  } else if ((flags & kTruncated) != 0 || reply.size() >= room) {
    facts.outcome = LookUp::Outcome::kTruncated;
  } else if (IsSameQuestion(reply, query)) {
    const std::uint32_t start = MessageCodec::GetAnswerStart({query.begin(), query.end()});
    facts.outcome = ReadAnswers({reader, start}, reader.ReadUint16(6), facts);
  }
  return facts;
}
