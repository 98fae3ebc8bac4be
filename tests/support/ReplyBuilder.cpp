#include "tests/support/ReplyBuilder.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>

namespace {

constexpr std::size_t kHeader = 12;
constexpr std::uint16_t kResponse = 0x8180;  // QR, RD, RA
constexpr std::uint16_t kPointerToQuestion = 0xC00C;

}  // namespace

ReplyBuilder::ReplyBuilder(const Bytes& query) {
  const auto nameEnd = std::find(query.begin() + kHeader, query.end(), 0);
  m_reply.assign(query.begin(), nameEnd + 1 + 4);
  SetFlags(kResponse);
}

ReplyBuilder& ReplyBuilder::A(std::string_view dottedQuad) {
  std::array<unsigned char, 4> octets{};
  inet_pton(AF_INET, std::string(dottedQuad).c_str(), octets.data());
  return Record(1, {octets.begin(), octets.end()});
}

ReplyBuilder& ReplyBuilder::NS(std::string_view host) {
  return Record(2, Name(host));
}

ReplyBuilder& ReplyBuilder::CNAME(std::string_view host) {
  return Record(5, Name(host));
}

ReplyBuilder& ReplyBuilder::MX(std::uint16_t preference, std::string_view host) {
  Bytes rdata = {static_cast<unsigned char>(preference >> 8),
                 static_cast<unsigned char>(preference & 0xFF)};
  const Bytes name = Name(host);
  rdata.insert(rdata.end(), name.begin(), name.end());
  return Record(15, rdata);
}

ReplyBuilder& ReplyBuilder::TXT(const std::vector<std::string>& strings) {
  Bytes rdata;
  for (const std::string& string : strings) {
    rdata.push_back(static_cast<unsigned char>(string.size()));
    rdata.insert(rdata.end(), string.begin(), string.end());
  }
  return Record(16, rdata);
}

ReplyBuilder& ReplyBuilder::Record(std::uint16_t type, const Bytes& rdata) {
  return Record(type, static_cast<std::uint16_t>(rdata.size()), rdata);
}

ReplyBuilder& ReplyBuilder::Record(std::uint16_t type, std::uint16_t rdLength, const Bytes& rdata) {
  if (m_reply[kHeader] == 0) {
    Raw({0});
  } else {
    Append16(kPointerToQuestion);
  }
  Append16(type);
  Append16(1);  // CLASS IN
  Append16(0);  // TTL, high half
  Append16(300);
  Append16(rdLength);
  SetAnswerCount(static_cast<std::uint16_t>(m_answers + 1));
  return Raw(rdata);
}

ReplyBuilder& ReplyBuilder::Raw(const Bytes& bytes) {
  m_reply.insert(m_reply.end(), bytes.begin(), bytes.end());
  return *this;
}

ReplyBuilder& ReplyBuilder::SetAnswerCount(std::uint16_t count) {
  m_answers = count;
  Put16(6, count);
  return *this;
}

ReplyBuilder& ReplyBuilder::SetId(std::uint16_t id) {
  Put16(0, id);
  return *this;
}

ReplyBuilder& ReplyBuilder::SetFlags(std::uint16_t flags) {
  Put16(2, flags);
  return *this;
}

Bytes ReplyBuilder::Name(std::string_view dotted) {
  Bytes name;
  while (!dotted.empty()) {
    const std::size_t length = std::min(dotted.find('.'), dotted.size());
    name.push_back(static_cast<unsigned char>(length));
    name.insert(name.end(), dotted.begin(), dotted.begin() + static_cast<std::ptrdiff_t>(length));
    dotted.remove_prefix(std::min(length + 1, dotted.size()));
  }
  name.push_back(0);
  return name;
}

void ReplyBuilder::Put16(std::size_t at, std::uint16_t value) {
  m_reply[at] = static_cast<unsigned char>(value >> 8);
  m_reply[at + 1] = static_cast<unsigned char>(value & 0xFF);
}

void ReplyBuilder::Append16(std::uint16_t value) {
  m_reply.resize(m_reply.size() + 2);
  Put16(m_reply.size() - 2, value);
}
