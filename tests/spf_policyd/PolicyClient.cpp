#include "tests/spf_policyd/PolicyClient.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <stdexcept>

#include "tests/support/Text.h"

namespace {

constexpr int kAttempts = 1000;
constexpr int kAttemptMs = 10;
constexpr int kAnswerMs = 20000;

// Returns a connected socket. Tries again while nothing listens at the address.
int Connect(int family, const sockaddr* address, socklen_t length, const std::string& name) {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const int descriptor = socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(descriptor, address, length) == 0) {
      return descriptor;
    }
    close(descriptor);
    poll(nullptr, 0, kAttemptMs);
  }
  throw std::runtime_error("nothing listens at " + name);
}

int ConnectToPort(unsigned short port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return Connect(AF_INET, reinterpret_cast<const sockaddr*>(&address), sizeof(address),
                 std::to_string(port));
}

int ConnectToPath(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof(address.sun_path) - 1);
  return Connect(AF_UNIX, reinterpret_cast<const sockaddr*>(&address), sizeof(address), path);
}

}  // namespace

PolicyClient::PolicyClient(unsigned short port) : m_descriptor(ConnectToPort(port)) {}

PolicyClient::PolicyClient(const std::string& path) : m_descriptor(ConnectToPath(path)) {}

PolicyClient::~PolicyClient() {
  close(m_descriptor);
}

bool PolicyClient::Write(const std::string& text) const {
  std::size_t written = 0;
  while (written < text.size()) {
    const ssize_t result =
        send(m_descriptor, text.data() + written, text.size() - written, MSG_NOSIGNAL);
    if (result < 0) {
      return false;
    }
    written += static_cast<std::size_t>(result);
  }
  return true;
}

void PolicyClient::EndWriting() const {
  shutdown(m_descriptor, SHUT_WR);
}

std::string PolicyClient::ReadAction() {
  static const std::string begin = "action=";
  std::array<char, 4096> buffer;
  std::size_t end = 0;
  while ((end = m_received.find("\n\n")) == std::string::npos) {
    pollfd event{m_descriptor, POLLIN, 0};
    if (poll(&event, 1, kAnswerMs) <= 0) {
      return m_received + "nothing for 20 s";
    }
    const ssize_t length = recv(m_descriptor, buffer.data(), buffer.size(), 0);
    if (length <= 0) {
      return m_received + "closed";
    }
    m_received.append(buffer.data(), static_cast<std::size_t>(length));
  }
  const std::string answer = m_received.substr(0, end);
  m_received.erase(0, end + 2);
  return answer.starts_with(begin) ? answer.substr(begin.size()) : "not an answer: " + answer;
}

std::string PolicyClient::Ask(const std::string& request) {
  return Write(request) ? ReadAction() : "closed";
}

bool PolicyClient::HasAnswer(int milliseconds) const {
  pollfd event{m_descriptor, POLLIN, 0};
  return !m_received.empty() || poll(&event, 1, milliseconds) > 0;
}

PolicyClients MakeClients(int count) {
  PolicyClients clients;
  for (int i = 0; i < count; ++i) {
    clients.push_back(std::make_unique<PolicyClient>());
  }
  return clients;
}

std::string Request(const std::string& address, const std::string& sender) {
  static std::atomic<int> messages{0};
  return Request(address, sender, "jane@mail.test", "7b." + std::to_string(++messages));
}

std::string Request(const std::string& address, const std::string& sender,
                    const std::string& recipient, const std::string& instance) {
  return Lines({"request=smtpd_access_policy", "protocol_state=RCPT", "protocol_name=ESMTP",
                "client_address=" + address, "client_name=unknown", "helo_name=client.test",
                "sender=" + sender, "recipient=" + recipient, "size=12345", "instance=" + instance,
                ""});
}
