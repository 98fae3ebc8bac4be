#include "programs/spf-policyd/PolicyConnection.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "framework/core/Exceptions.h"
#include "programs/spf-policyd/ServiceLog.h"

PolicyConnection::PolicyConnection() : Socket(0, 0) {}

PolicyConnection::~PolicyConnection() noexcept(false) {
  Close();
}

bool PolicyConnection::Accept(int listener) {
  m_descriptor = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (m_descriptor < 0) {
    return false;
  }
  const int high = fcntl(m_descriptor, F_DUPFD_CLOEXEC, FD_SETSIZE);
  if (high >= 0) {
    close(m_descriptor);
    m_descriptor = high;
  }
  return true;
}

bool PolicyConnection::Serve(const Answer& answer) {
  std::array<char, 4096> buffer{};
  const ssize_t length = recv(m_descriptor, buffer.data(), buffer.size(), MSG_DONTWAIT);
  if (length < 0) {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
  }
  return length > 0 && Take(buffer.data(), static_cast<std::size_t>(length), answer);
}

bool PolicyConnection::Take(const char* bytes, std::size_t count, const Answer& answer) {
  try {
    for (std::size_t i = 0; i < count; ++i) {
      if (m_request.Take(bytes[i])) {
        if (!answer(m_request, *this)) {
          return false;
        }
        m_request = PolicyRequest();
      }
    }
  } catch (const StdException& e) {
    ServiceLog::Write(fwk::Warning, std::string("closed a connection with a malformed request: ") +
                                        e.GetMessage());
    return false;
  }
  return true;
}

bool PolicyConnection::Send(const std::string& action) {
  m_lastAnswer = Clock::now();  // before the peer sees the answer, and may act on it first
  const std::string text = "action=" + action + "\n\n";
  // A closed peer must not raise SIGPIPE; a peer that does not read must not block.
  const ssize_t sent = send(m_descriptor, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  pollfd event{m_descriptor, POLLRDHUP, 0};
  return sent == static_cast<ssize_t>(text.size()) && poll(&event, 1, 0) == 0;
}
