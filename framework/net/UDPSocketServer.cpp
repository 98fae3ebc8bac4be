// The server side of UDPSocket, which binds to a port and echoes datagrams.

#include <arpa/inet.h>
#include <unistd.h>

#include <array>
#include <cstdio>

#include "framework/net/UDPSocket.h"

namespace {

constexpr std::uint16_t kLastPrivilegedPort = 1023;

// The ids that SaveIdentity() found; -1 leaves an id unchanged.
uid_t savedRealUser = static_cast<uid_t>(-1);
uid_t savedEffectiveUser = static_cast<uid_t>(-1);
gid_t savedRealGroup = static_cast<gid_t>(-1);
gid_t savedEffectiveGroup = static_cast<gid_t>(-1);

// Ignores a failure: a process that may not change its ids keeps them, and bind(2) tells.
void SetIdentity(uid_t realUser, uid_t effectiveUser, gid_t realGroup, gid_t effectiveGroup) {
  [[maybe_unused]] const int user = setreuid(realUser, effectiveUser);
  [[maybe_unused]] const int group = setregid(realGroup, effectiveGroup);
}

void SwapIdentity() {
  SetIdentity(savedEffectiveUser, savedRealUser, savedEffectiveGroup, savedRealGroup);
}

void RestoreIdentity() {
  SetIdentity(savedRealUser, savedEffectiveUser, savedRealGroup, savedEffectiveGroup);
}

}  // namespace

bool UDPSocket::Listen(const std::string& port) {
  if (m_descriptor > 0) {
    return true;
  }
  const std::uint16_t number = ParsePort(port);
  OpenSocket(false);
  const sockaddr_in local = MakeAddress(INADDR_ANY, number);
  const bool privileged = number <= kLastPrivilegedPort;
  if (privileged) {
    SwapIdentity();
  }
  if (bind(m_descriptor, reinterpret_cast<const sockaddr*>(&local), sizeof(local)) < 0) {
    ThrowSocketError("Listen - bind", 0);
  }
  if (privileged) {
    RestoreIdentity();
  }
  m_port = number;
  return true;
}

bool UDPSocket::Accept(UDPSocket& reply, bool nonBlocking) {
  std::array<char, 1024 + 1> data{};  // a zero byte follows what is read
  sockaddr_in sender{};
  socklen_t senderLength = sizeof(sender);
  const ssize_t length = recvfrom(m_descriptor, data.data(), data.size() - 1, 0,
                                  reinterpret_cast<sockaddr*>(&sender), &senderLength);
  if (length == -1) {
    ThrowSocketError("UDPSocket::Accept - recvfrom", 0);
  }
  std::printf("Received packet from %s:%d\n", inet_ntoa(sender.sin_addr), ntohs(sender.sin_port));
  std::printf("Data: %s\n", data.data());

  reply.OpenSocket(nonBlocking);
  reply.m_peer = sender;
  MakeProbe();  // drawn for each client, but not used
  unsigned int sent = 0;
  return reply.Send(data.data(), static_cast<unsigned int>(length), sent, kLongTimeoutMs) > 0;
}

void UDPSocket::SaveIdentity() {
  savedRealUser = getuid();
  savedRealGroup = getgid();
  savedEffectiveUser = geteuid();
  savedEffectiveGroup = getegid();
  RestoreIdentity();
}
