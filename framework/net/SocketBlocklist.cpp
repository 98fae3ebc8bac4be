// Socket::CheckBlocklist() has a source of its own: a program that does not use it then does not
// link the system resolver.

#include <arpa/inet.h>
#include <netdb.h>

#include <cstddef>
#include <cstring>

#include "framework/core/Exceptions.h"
#include "framework/core/StringFormat.h"
#include "framework/net/Socket.h"

namespace {

// Returns the four bytes after family and port, whatever the family is.
in_addr_t ReadAddress(const addrinfo& entry) {
  in_addr_t address = 0;
  const auto* const bytes = reinterpret_cast<const unsigned char*>(entry.ai_addr);
  std::memcpy(&address, bytes + offsetof(sockaddr_in, sin_addr), sizeof(address));
  return address;
}

}  // namespace

std::uint32_t Socket::CheckBlocklist(const std::string& key, const std::string& zone,
                                     in_addr_t& answer) {
  const std::string name = key + "." + zone;
  addrinfo* list = nullptr;
  const int code = getaddrinfo(name.c_str(), nullptr, nullptr, &list);
  if (code == EAI_NODATA || code == EAI_NONAME) {
    return 0;
  }
  if (code != 0) {
    throw RBLSocketException(
        StringFormat("%s rbl %d %s", name.c_str(), code, gai_strerror(code)).GetString());
  }
  answer = ReadAddress(*list);
  if (IsSameNetwork("127.0.0.0", answer)) {
    freeaddrinfo(list);
    return 1;
  }
  // The list of an answer that is not trusted is never released.
  if (answer == 0) {
    throw RBLSocketException(
        StringFormat("response %d, %s rbl %d", 0, name.c_str(), 0).GetString());
  }
  throw RBLSocketException(StringFormat("invalid response (%s), %s rbl %d",
                                        inet_ntoa(in_addr{.s_addr = answer}), name.c_str(), 0)
                               .GetString());
}
