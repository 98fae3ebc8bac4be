#include "framework/net/UDPSocket.h"

#include <arpa/inet.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "framework/Utilities/RandomString.h"
#include "framework/core/Exceptions.h"
#include "framework/core/StringFormat.h"

namespace {

const char* Direction(bool reading) {
  return reading ? "reading" : "writing";
}

// Calls select(2) once. Returns its result; errno is as it leaves it.
int WaitOnce(int descriptor, bool reading, int timeoutMs) {
  if (descriptor < 0) {
    errno = EBADF;
    return -1;
  }
  fd_set readSet;
  FD_ZERO(&readSet);
  FD_SET(descriptor, &readSet);
  fd_set writeSet = readSet;
  timeval timeout{.tv_sec = timeoutMs / 1000, .tv_usec = timeoutMs % 1000 * 1000L};
  return select(descriptor + 1, &readSet, reading ? nullptr : &writeSet, nullptr,
                timeoutMs < 1 ? nullptr : &timeout);
}

// A buffer that takes up no memory until bytes are written to it.
class ReceiveBuffer {
 public:
  explicit ReceiveBuffer(std::uint32_t length)
      : m_size(std::size_t{length} + 1),  // the system refuses an empty mapping
        m_start(mmap(nullptr, m_size, PROT_READ | PROT_WRITE,
                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {}
  ~ReceiveBuffer() {
    if (m_start != MAP_FAILED) {
      munmap(m_start, m_size);
    }
  }

  ReceiveBuffer(const ReceiveBuffer&) = delete;
  ReceiveBuffer& operator=(const ReceiveBuffer&) = delete;

  // Returns null if there is not enough memory.
  char* Data() { return m_start != MAP_FAILED ? static_cast<char*>(m_start) : nullptr; }

 private:
  std::size_t m_size;
  void* m_start;
};

}  // namespace

UDPSocket::UDPSocket(int descriptor, int timeout) : Socket(descriptor, timeout) {}

UDPSocket::~UDPSocket() noexcept(false) {
  UDPSocket::Destroy();
}

void UDPSocket::Destroy() {
  if (m_descriptor != 0) {
    close(m_descriptor);
    m_descriptor = 0;
  }
}

int UDPSocket::Receive(char* buffer, unsigned int length, unsigned int& received, int timeoutMs,
                       bool fill) {
  if (m_wait != 0) {
    SelectReadWrite(m_descriptor, true, timeoutMs);
  }
  unsigned int got = 0;
  while (got < length) {
    const ssize_t result = ReceiveRaw(buffer + got, length - got);
    received = static_cast<unsigned int>(result);
    if (result < 0) {
      CheckSocketStatus(true);
      received = got;
      break;
    }
    got += static_cast<unsigned int>(result);
    if (result == 0 || !fill) {
      break;
    }
  }
  return static_cast<int>(got);
}

int UDPSocket::Send(const char* buffer, unsigned int length, unsigned int& sent, int timeoutMs) {
  const auto wait = [&] {
    if (m_wait != 0) {
      SelectReadWrite(m_descriptor, false, timeoutMs);
    }
  };
  wait();
  unsigned int done = 0;
  while (done < length) {
    const ssize_t result = SendRaw(buffer + done, length - done);
    sent = static_cast<unsigned int>(result);
    if (result == 0) {
      break;
    }
    if (result < 0) {
      CheckSocketStatus(false);
      sent = 0;
      wait();
    } else {
      done += static_cast<unsigned int>(result);
    }
  }
  return static_cast<int>(done);
}

ssize_t UDPSocket::ReceiveRaw(char* buffer, unsigned int length) {
  socklen_t addressLength = sizeof(m_peer);
  return recvfrom(m_descriptor, buffer, length, 0, reinterpret_cast<sockaddr*>(&m_peer),
                  &addressLength);
}

ssize_t UDPSocket::SendRaw(const char* buffer, unsigned int length) {
  return sendto(m_descriptor, buffer, length, 0, reinterpret_cast<const sockaddr*>(&m_peer),
                sizeof(m_peer));
}

std::uint16_t UDPSocket::ParsePort(const std::string& port) {
  return static_cast<std::uint16_t>(std::strtol(port.c_str(), nullptr, 10));
}

sockaddr_in UDPSocket::MakeAddress(in_addr_t address, std::uint16_t port) {
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_port = htons(port);
  result.sin_addr.s_addr = address;
  return result;
}

std::string UDPSocket::MakeProbe() {
  return RandomString(16, "aA1bB2cC3dD4eE5fF6gG7hH8iI9jJkKlLmMnNoOpPqQrRsStTuUvVwWxXyYzZ")
      .GetString();
}

void UDPSocket::OpenSocket(bool nonBlocking) {
  CreateSocket(AF_INET, SOCK_DGRAM, IPPROTO_UDP, nonBlocking);
  if (nonBlocking) {
    m_wait = 1;
  }
}

in_addr_t UDPSocket::Connect(const std::string& address, const std::string& port,
                             bool nonBlocking) {
  m_port = ParsePort(port);
  OpenSocket(nonBlocking);
  m_peer = MakeAddress(inet_addr(address.c_str()), m_port);
  if (m_peer.sin_addr.s_addr == 0) {
    throw UDPSocketException("UDPSocket::Connect - inet_addr() failed");
  }
  return m_peer.sin_addr.s_addr;
}

in_addr_t UDPSocket::ConnectAndProbe(const std::string& address, const std::string& port,
                                     bool nonBlocking) {
  const in_addr_t peer = Connect(address, port, nonBlocking);
  std::string probe = MakeProbe();
  const auto length = static_cast<unsigned int>(probe.size());
  unsigned int moved = 0;
  if (Send(probe.data(), length, moved, kLongTimeoutMs) == -1) {
    throw UDPSocketException("UDPSocket::Connect - Send failed");
  }
  m_key = probe;
  const int received = Receive(probe.data(), length, moved, kLongTimeoutMs, true);
  if (received == -1) {
    throw UDPSocketException("UDPSocket::Connect - Receive failed");
  }
  probe.resize(static_cast<std::size_t>(received));
  m_key = probe;
  return peer;
}

bool UDPSocket::SendMessage(const std::string& message, int timeoutMs) {
  const std::string payload = ApplyKey(message);
  const auto length = static_cast<std::uint32_t>(payload.size());
  const std::uint32_t header = htonl(length);
  unsigned int sent = 0;
  return Send(reinterpret_cast<const char*>(&header), sizeof(header), sent, timeoutMs) > 0 &&
         Send(payload.data(), length, sent, kLongTimeoutMs) > 0;
}

bool UDPSocket::ReceiveMessage(std::string& message, int timeoutMs) {
  std::uint32_t header = 0;
  unsigned int received = 0;
  if (Receive(reinterpret_cast<char*>(&header), sizeof(header), received, timeoutMs, true) !=
      static_cast<int>(sizeof(header))) {
    return false;
  }
  const std::uint32_t length = ntohl(header);
  ReceiveBuffer payload(length);
  if (payload.Data() == nullptr) {
    return false;
  }
  const auto got =
      static_cast<std::uint32_t>(Receive(payload.Data(), length, received, timeoutMs, true));
  if (got == 0 || got != length) {
    return false;
  }
  message = ApplyKey(std::string(payload.Data(), length));
  return true;
}

int UDPSocket::SelectReadWrite(int descriptor, bool reading, int timeoutMs) {
  if (descriptor >= FD_SETSIZE) {
    ThrowSocketError("UDPSocket::SelectReadWrite - socket handle exceeds FD_SETSIZE", 0);
  }
  int result = 0;
  do {
    result = WaitOnce(descriptor, reading, timeoutMs);
  } while (result < 0 && errno == EINTR);

  if (result < 0 && errno == 0) {
    return 0;
  }
  if (result < 0) {
    ThrowSocketError(
        StringFormat("UDPSocket::SelectReadWrite - result %d while %s from the socket on (%s)",
                     result, Direction(reading), m_peerDescription.c_str())
            .GetString(),
        0);
  }
  if (result == 0 && timeoutMs >= 0) {
    const std::string text =
        StringFormat("UDPSocket::SelectReadWrite - timed out (%d) while %s from the socket on (%s)",
                     timeoutMs, Direction(reading), m_peerDescription.c_str())
            .GetString();
    throw UDPSocketTimeoutException(FormatSystemError(text, ETIMEDOUT));
  }
  return result;
}

int UDPSocket::CheckSocketStatus(bool reading) {
  const int error = errno;
  const char* const direction = Direction(reading);
  const char* const peer = m_peerDescription.c_str();
  switch (error) {
    case 0:
    case EINTR:
    case EAGAIN:
      return error;
    case EPIPE:
    case ECONNABORTED:
    case ECONNRESET:
      ThrowSocketError(
          StringFormat("UDPSocket::CheckSocketStatus - connection error %s from the socket [%s]",
                       direction, peer)
              .GetString(),
          error);
    case ETIMEDOUT:
      ThrowSocketError(
          StringFormat("UDPSocket::CheckSocketStatus - timed out while %s from the socket [%s]",
                       direction, peer)
              .GetString(),
          error);
    default:
      ThrowSocketError(StringFormat("UDPSocket::CheckSocketStatus - error %s from the socket [%s]",
                                    direction, peer)
                           .GetString(),
                       error);
  }
}
