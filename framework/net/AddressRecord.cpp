#include "framework/net/AddressRecord.h"

#include <algorithm>

namespace {

std::unique_ptr<unsigned char[]> CopyBytes(const void* bytes, int length) {
  const auto* const first = static_cast<const unsigned char*>(bytes);
  auto copy = std::make_unique<unsigned char[]>(static_cast<std::size_t>(length));
  std::copy_n(first, length, copy.get());
  return copy;
}

}  // namespace

AddressRecord::AddressRecord(int family, int socketType, int protocol, const sockaddr* address,
                             int length, const std::string& canonicalName)
    : m_family(family),
      m_socketType(socketType),
      m_protocol(protocol),
      m_length(length),
      m_address(CopyBytes(address, length)),
      m_canonicalName(canonicalName) {}

AddressRecord::AddressRecord(const AddressRecord& other)
    : m_family(other.m_family),
      m_socketType(other.m_socketType),
      m_protocol(other.m_protocol),
      m_length(other.m_length),
      m_address(CopyBytes(other.GetAddress(), other.m_length)),
      m_canonicalName(other.m_canonicalName) {}

AddressRecord& AddressRecord::operator=(const AddressRecord& other) {
  if (this != &other) {
    m_address = CopyBytes(other.GetAddress(), other.m_length);
    m_family = other.m_family;
    m_socketType = other.m_socketType;
    m_protocol = other.m_protocol;
    m_length = other.m_length;
    m_canonicalName = other.m_canonicalName;
  }
  return *this;
}
