#include "tool/ReplyFacts.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cctype>

#include "framework/dns/MessageCodec.h"
#include "framework/dns/MessageReader.h"

namespace {

constexpr std::uint32_t kHeaderSize = 12;
constexpr std::uint8_t kResponse = 0x80;       // in the first byte of the flags
constexpr std::uint8_t kAuthoritative = 0x04;  // in the same byte
constexpr std::uint8_t kTruncated = 0x02;      // in the same byte
constexpr std::uint8_t kRecursive = 0x80;      // in the second byte of the flags
constexpr std::uint8_t kErrorCode = 0x0F;      // in the same byte
constexpr std::uint8_t kNameError = 3;
constexpr std::uint16_t kTypeCNAME = 5;
constexpr std::uint16_t kTypeDNAME = 39;
constexpr std::uint16_t kAddressLength = 4;
constexpr std::uint8_t kFirstPointerByte = 192;

// Reads the resource records of a reply one by one.
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
  std::uint16_t Length() const { return m_length; }

  std::string Address() const {
    std::array<unsigned char, kAddressLength> octets{};
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

// Returns whether the reply repeats the question of the query, which ends at `end`; a server may
// change the case of the name.
bool IsSameQuestion(std::span<const unsigned char> reply, const std::vector<unsigned char>& query,
                    std::uint32_t end) {
  return reply.size() >= end &&
         std::equal(query.begin() + kHeaderSize, query.begin() + end, reply.begin() + kHeaderSize,
                    [](unsigned char a, unsigned char b) { return tolower(a) == tolower(b); });
}

// Returns whether a reply without answers only refers to other servers: the server is not
// authoritative, does not ask others, and does not say that the name does not exist.
bool IsReferral(const MessageReader& reply) {
  return (reply.ReadByte(2) & kAuthoritative) == 0 && (reply.ReadByte(3) & kRecursive) == 0 &&
         (reply.ReadByte(3) & kErrorCode) != kNameError;
}

LookUp::Outcome ReadAnswers(const MessageReader& reply, std::uint32_t start, ReplyFacts& facts) {
  const std::uint16_t count = reply.ReadUint16(6);
  if (count == 0 && IsReferral(reply)) {
    return LookUp::Outcome::kNoAnswer;
  }
  Records records(reply, start);
  for (std::uint16_t i = 0; i < count; ++i) {
    if (!records.Next()) {
      return LookUp::Outcome::kTruncated;
    }
    switch (records.Type()) {
      case MessageCodec::kTypeA:
        if (records.Length() == kAddressLength) {
          facts.addresses.push_back(records.Address());
        }
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
                          const std::vector<unsigned char>& query, std::size_t room) {
  const MessageReader reader(reply);
  ReplyFacts facts;
  if (reply.size() < kHeaderSize || (reader.ReadByte(2) & kResponse) == 0) {
    return facts;
  }
  facts.errorCode = reader.ReadByte(3) & kErrorCode;
  const std::uint32_t start = MessageCodec::GetAnswerStart(query);
  if (facts.errorCode != 0 && facts.errorCode != kNameError) {
    facts.outcome = LookUp::Outcome::kErrorCode;
  } else if (IsSameQuestion(reply, query, start)) {
    facts.outcome = ReadAnswers(reader, start, facts);
    if ((reader.ReadByte(2) & kTruncated) != 0 || reply.size() >= room) {
      facts.outcome = LookUp::Outcome::kTruncated;
    }
  }
  return facts;
}
