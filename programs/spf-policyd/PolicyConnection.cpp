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

PolicyConnection::PolicyConnection(int descriptor) : Socket(descriptor, 0) {
  const int high = fcntl(descriptor, F_DUPFD_CLOEXEC, FD_SETSIZE);
  if (high >= 0) {
    close(descriptor);
    m_descriptor = high;
  }
}

PolicyConnection::~PolicyConnection() noexcept(false) {
  Close();
}

bool PolicyConnection::Serve(const Answer& answer) {
  std::array<char, 4096> buffer;
  for (;;) {
    const ssize_t length = recv(m_descriptor, buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (length < 0 && errno == EINTR) {
      continue;
    }
    if (length <= 0) {
      return length < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
    }
    if (!Take(buffer.data(), static_cast<std::size_t>(length), answer)) {
      return false;
    }
  }
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

bool PolicyConnection::Send(const std::string& action) const {
  const std::string text = "action=" + action + "\n\n";
  // A peer that has gone is no SIGPIPE; nobody waits for one that does not read.
  const ssize_t sent = send(m_descriptor, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  pollfd event{m_descriptor, POLLRDHUP, 0};
  return sent == static_cast<ssize_t>(text.size()) && poll(&event, 1, 0) == 0;
}
