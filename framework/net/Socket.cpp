#include "framework/net/Socket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "framework/Utilities/Encryption.h"
#include "framework/Utilities/StringUtilities.h"
#include "framework/core/Exceptions.h"

namespace {

// Opens a socket. If its descriptor is 0, which means none, moves it above the standard streams.
int OpenSocket(int domain, int type, int protocol) {
  const int descriptor = socket(domain, type, protocol);
  if (descriptor != 0) {
    return descriptor;
  }
  const int moved = fcntl(descriptor, F_DUPFD, STDERR_FILENO + 1);
  close(descriptor);
  return moved;
}

}  // namespace

Socket::Socket(int descriptor, int timeout) : m_descriptor(descriptor), m_timeout(timeout) {
  ++m_nAccessCounter;
}

Socket::~Socket() noexcept(false) {
  Destroy();
  --m_nAccessCounter;
}

void Socket::SetSocket(const int& descriptor, bool nonBlocking) {
  m_descriptor = descriptor;
  SocketNonBlocking(nonBlocking);
}

void Socket::Destroy() {
  if (m_descriptor <= 0) {
    return;
  }
  if (shutdown(m_descriptor, SHUT_RDWR) < 0 && errno != ENOTCONN) {
    ThrowSocketError("Socket::Destroy() - shutdown", 0);
  }
  Close();
}

void Socket::CreateSocket(int domain, int type, int protocol, bool nonBlocking) {
  Close();
  m_descriptor = OpenSocket(domain, type, protocol);
  if (m_descriptor == -1) {
    ThrowSocketError("Socket::CreateSocket - socket", 0);
  }
  SocketNonBlocking(nonBlocking);
}

int Socket::Close() {
  if (m_descriptor < 1) {
    return m_descriptor;
  }
  const int result = close(m_descriptor);
  m_descriptor = 0;
  return result;
}

void Socket::SocketNonBlocking(bool on) {
  if (!on) {
    return;
  }
  const int flags = fcntl(m_descriptor, F_GETFL);
  if (fcntl(m_descriptor, F_SETFL, flags | O_NONBLOCK) < 0) {
    ThrowSocketError("Socket::SocketNonBlocking - fcntl", 0);
  }
  m_nonBlocking = 1;
}

void Socket::SetOption(int option, const void* value, unsigned int length, const char* where) {
  if (setsockopt(m_descriptor, SOL_SOCKET, option, value, length) < 0) {
    ThrowSocketError(where, 0);
  }
}

void Socket::SetSocketOptionsReadWrite() {
  SetOption(SO_RCVTIMEO, &m_timeout, sizeof(m_timeout), "SetSocketOptionsReadWrite");
  SetOption(SO_SNDTIMEO, &m_timeout, sizeof(m_timeout), "SetSocketOptionsReadWrite");
}

void Socket::SetSocketOptionsKeepAlive() {
  const int on = 1;
  SetOption(SO_KEEPALIVE, &on, sizeof(on), "SetSocketOptionsKeepAlive");
}

void Socket::SetSocketOptionsLinger() {
  const linger option{.l_onoff = 1, .l_linger = m_linger};
  SetOption(SO_LINGER, &option, sizeof(option), "SetSocketOptionsLinger");
}

void Socket::SetSocketOptionsReUseAddress() {
  const int on = 1;
  SetOption(SO_REUSEADDR, &on, sizeof(on), "SetSocketOptionsReUseAddress");
}

void Socket::ThrowSocketError(const std::string& where, int code) {
  throw SocketException(FormatSystemError(where, code != 0 ? code : errno));
}

void Socket::ThrowSocketClosed(const std::string& message) {
  throw SocketClosedException(message);
}

std::string Socket::ApplyKey(const std::string& data) const {
  if (m_key.empty()) {
    return data;
  }
  std::string result;
  const Encryption run(m_key, data, result);
  return result;
}

bool Socket::IsSameNetwork(const in_addr_t& network, const in_addr_t& address) {
  const std::uint32_t wanted = ntohl(network);
  const std::uint32_t found = ntohl(address);
  return wanted == found || wanted == (found & 0xFF000000) || wanted == (found & 0xFFFF0000) ||
         wanted == (found & 0xFFFFFF00);
}

bool Socket::IsSameNetwork(const char* network, const in_addr_t& address) {
  return IsSameNetwork(inet_addr(network), address);
}

bool Socket::IsInRange(const std::string& cidr, const in_addr_t& address) {
  const std::size_t slash = cidr.find('/');
  const std::string networkText = cidr.substr(0, slash);
  const std::string prefixText = slash == std::string::npos ? "32" : cidr.substr(slash + 1);
  if (networkText.empty() || prefixText.empty()) {
    return false;
  }
  const std::uint32_t first = ntohl(inet_addr(networkText.c_str()));
  if (first == 0) {
    return false;
  }
  const std::uint32_t prefix = StringToUnsigned(prefixText, false);
  // A prefix of 0 makes 2^32, which is 0 in 32 bits: an empty range, as for a prefix above 32.
  const auto size =
      static_cast<std::uint32_t>(prefix <= 32 ? std::uint64_t{1} << (32 - prefix) : 0);
  const std::uint32_t last = first + size - 1;
  const std::uint32_t candidate = ntohl(address);
  return first <= candidate && candidate <= last;
}

bool Socket::IsInRange(const std::string& cidr, const char* address) {
  return IsInRange(cidr, inet_addr(address));
}

std::string Socket::ReverseAddress(const in_addr_t& address) {
  const std::uint32_t octets = ntohl(address);
  return std::to_string(octets & 0xFF) + "." + std::to_string(octets >> 8 & 0xFF) + "." +
         std::to_string(octets >> 16 & 0xFF) + "." + std::to_string(octets >> 24);
}

bool Socket::IsPublicAddress(const in_addr_t& address) {
  const std::uint32_t host = ntohl(address);
  const bool isPrivate = host >> 24 == 10 || host >> 24 == 127 || host >> 20 == (172U << 4 | 1) ||
                         host >> 16 == (192U << 8 | 168);
  return !isPrivate;
}
