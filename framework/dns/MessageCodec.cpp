#include "framework/dns/MessageCodec.h"

#include <string_view>

#include "framework/core/Exceptions.h"
#include "framework/dns/MessageReader.h"

namespace {

constexpr std::size_t kHeaderSize = 12;
constexpr std::size_t kTypeAndClassSize = 4;
constexpr std::size_t kTrailingZeros = 8;
constexpr std::uint8_t kRecursionDesired = 0x01;  // in the first byte of the flags
constexpr std::uint16_t kClassIN = 1;
constexpr std::uint8_t kFirstPointerByte = 192;  // the two top bits set
constexpr std::uint32_t kPointerBits = 49152;
constexpr std::size_t kMaxGathered = 1024;

// Returns whether `byte` belongs to a label or is its length: it is not zero and begins no pointer.
bool IsLabelByte(std::uint8_t byte) {
  return byte != 0 && byte < kFirstPointerByte;
}

std::uint32_t ReadPointer(const MessageReader& reply, std::uint32_t at) {
  return reply.ReadUint16(at) - kPointerBits;
}

// Returns whether the name at `at` is the root, directly or through pointers.
bool LeadsToRoot(const MessageReader& reply, std::uint32_t at) {
  std::size_t pointers = 0;
  while (pointers <= reply.GetSize() && reply.ReadByte(at) >= kFirstPointerByte) {
    at = ReadPointer(reply, at);
    ++pointers;
  }
  return pointers > reply.GetSize() || reply.ReadByte(at) == 0;
}

// Returns the labels of a name with their length bytes, without the zero byte at the end.
std::string GatherName(const MessageReader& reply, std::uint32_t at) {
  std::string gathered;
  std::size_t pointers = 0;
  while (gathered.size() < kMaxGathered && pointers <= reply.GetSize()) {
    const std::uint8_t byte = reply.ReadByte(at);
    if (byte == 0) {
      break;
    }
    if (IsLabelByte(byte)) {
      gathered.push_back(static_cast<char>(byte));
      ++at;
    } else {
      at = ReadPointer(reply, at);
      ++pointers;
    }
  }
  return gathered;
}

void AppendUint16(std::vector<unsigned char>& message, std::uint16_t value) {
  message.push_back(static_cast<unsigned char>(value >> 8));
  message.push_back(static_cast<unsigned char>(value & 0xFF));
}

}  // namespace

std::vector<unsigned char> MessageCodec::EncodeQuery(const std::string& domain, std::uint16_t type,
                                                     std::uint16_t id) {
  const std::string encoded = EncodeName(domain);
  const std::string_view name(encoded.c_str(), encoded.find('\0') + 1);
  if (kHeaderSize + encoded.size() > kMaxMessage ||
      kHeaderSize + name.size() + kTypeAndClassSize + kTrailingZeros > kMaxMessage) {
    throw StdException("MessageCodec::EncodeQuery - domain name too long");
  }
  std::vector<unsigned char> query;
  query.reserve(kMaxMessage);
  AppendUint16(query, id);
  query.push_back(kRecursionDesired);
  query.push_back(0);
  AppendUint16(query, 1);  // QDCOUNT
  AppendUint16(query, 0);  // ANCOUNT
  AppendUint16(query, 0);  // NSCOUNT
  AppendUint16(query, 0);  // ARCOUNT
  query.insert(query.end(), name.begin(), name.end());
  AppendUint16(query, type);
  AppendUint16(query, kClassIN);
  query.resize(query.size() + kTrailingZeros);
  return query;
}

std::uint32_t MessageCodec::GetAnswerStart(const std::vector<unsigned char>& query) {
  return static_cast<std::uint32_t>(query.size() - kTrailingZeros);
}

std::string MessageCodec::EncodeName(const std::string& domain) {
  const std::string source = domain + ".";
  std::string encoded;
  encoded.reserve(source.size() + 1);
  std::size_t label = 0;
  for (std::size_t dot = source.find('.'); dot != std::string::npos;
       dot = source.find('.', label)) {
    encoded.push_back(static_cast<char>(dot - label));
    encoded.append(source, label, dot - label);
    label = dot + 1;
  }
  encoded.push_back('\0');
  return encoded;
}

std::uint32_t MessageCodec::MeasureName(std::span<const unsigned char> reply, std::uint32_t at) {
  const MessageReader reader(reply);
  std::uint32_t labels = 0;
  while (labels < kMaxGathered && IsLabelByte(reader.ReadByte(at + labels))) {
    ++labels;
  }
  if (labels == 0) {
    return LeadsToRoot(reader, at) ? 1 : 2;
  }
  const bool endsInPointer = labels < kMaxGathered && reader.ReadByte(at + labels) != 0;
  return labels + (endsInPointer ? 2 : 1);
}

std::string MessageCodec::DecodeName(std::span<const unsigned char> reply, std::uint32_t at,
                                     std::uint32_t& consumed) {
  consumed = MeasureName(reply, at);
  std::string name = GatherName(MessageReader(reply), at);
  std::size_t label = 0;
  while (label < name.size()) {
    const auto length = static_cast<unsigned char>(name[label]);
    name[label] = '.';
    label += length + std::size_t{1};
  }
  return name.erase(0, 1);
}

std::string MessageCodec::DecodeText(std::span<const unsigned char> reply, std::uint32_t at,
                                     std::uint32_t& consumed) {
  std::string text = MessageReader(reply).ReadCString(at + 1);
  consumed = static_cast<std::uint32_t>(text.size()) - 1;
  return text;
}
