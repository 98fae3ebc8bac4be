// Socket::Resolve() has a source of its own: a program that resolves no names then does not link
// the system resolver.

#include <arpa/inet.h>
#include <netdb.h>

#include <cstdlib>
#include <memory>

#include "framework/core/StringFormat.h"
#include "framework/net/Socket.h"

namespace {

AddressRecord LocalAddress(std::uint16_t port, bool passive) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(passive ? INADDR_ANY : INADDR_LOOPBACK);
  return {AF_INET,         SOCK_STREAM, 0, reinterpret_cast<const sockaddr*>(&address),
          sizeof(address), ""};
}

AddressRecord ToRecord(const addrinfo& entry) {
  return {entry.ai_family,
          entry.ai_socktype,
          entry.ai_protocol,
          entry.ai_addr,
          static_cast<int>(entry.ai_addrlen),
          entry.ai_canonname != nullptr ? entry.ai_canonname : ""};
}

struct ListDeleter {
  void operator()(addrinfo* list) const { freeaddrinfo(list); }
};

}  // namespace

std::vector<AddressRecord> Socket::Resolve(const std::string& host, const std::string& service,
                                           bool passive) {
  m_port = 0;
  if (host.empty() && !service.empty()) {
    m_port = static_cast<std::uint16_t>(std::strtol(service.c_str(), nullptr, 10));
    return {LocalAddress(m_port, passive)};
  }

  addrinfo hints{};
  hints.ai_flags = passive ? AI_PASSIVE : 0;
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const char* const node = host.empty() ? nullptr : host.c_str();
  const int code = getaddrinfo(node, service.c_str(), &hints, &found);
  const std::unique_ptr<addrinfo, ListDeleter> list(code == 0 ? found : nullptr);
  if (list == nullptr) {
    ThrowSocketError(StringFormat("Socket::Resolve - %s", gai_strerror(code)).GetString(), 0);
  }

  std::vector<AddressRecord> records;
  for (const addrinfo* entry = list.get(); entry != nullptr; entry = entry->ai_next) {
    records.push_back(ToRecord(*entry));
  }
  return records;
}
