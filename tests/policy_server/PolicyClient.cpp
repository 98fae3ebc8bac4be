#include "tests/policy_server/PolicyClient.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace {

constexpr int kAttempts = 1000;
constexpr int kAttemptMs = 10;
constexpr int kAnswerMs = 20000;

// A socket that is connected to the port, or -1.
int Connect(const std::string& port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<in_port_t>(std::stoi(port)));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
    return descriptor;
  }
  close(descriptor);
  return -1;
}

}  // namespace

PolicyClient::PolicyClient(const std::string& port) : m_descriptor(Connect(port)) {
  for (int attempt = 0; attempt < kAttempts && m_descriptor < 0; ++attempt) {
    poll(nullptr, 0, kAttemptMs);
    m_descriptor = Connect(port);
  }
  if (m_descriptor < 0) {
    throw std::runtime_error("nothing listens on port " + port);
  }
}

PolicyClient::PolicyClient(int descriptor) : m_descriptor(descriptor) {}

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

std::string PolicyClient::ReadAnswer() const {
  std::string answer;
  while (!answer.ends_with("\n\n")) {
    if (!HasAnswer(kAnswerMs)) {
      return answer + "nothing for 20 s";
    }
    char byte = 0;
    if (recv(m_descriptor, &byte, 1, 0) <= 0) {
      return answer + "closed";
    }
    answer += byte;
  }
  return answer;
}

bool PolicyClient::HasAnswer(int milliseconds) const {
  pollfd event{m_descriptor, POLLIN, 0};
  return poll(&event, 1, milliseconds) > 0;
}

std::string Request(const std::string& address, const std::string& sender) {
  return "request=smtpd_access_policy\n"
         "protocol_state=RCPT\n"
         "protocol_name=ESMTP\n"
         "client_address=" +
         address +
         "\n"
         "client_name=unknown\n"
         "helo_name=h.test\n"
         "sender=" +
         sender +
         "\n"
         "recipient=postmaster@h.test\n"
         "size=12345\n"
         "\n";
}
