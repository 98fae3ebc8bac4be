#include "examples/policy_server/PolicyConnection.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <exception>

#include "examples/policy_server/PolicyDecision.h"
#include "framework/core/Exceptions.h"
#include "framework/logging/Logger.h"

using std::chrono::milliseconds;

PolicyConnection::PolicyConnection(int descriptor, int timeout, const std::string& peer)
    : Socket(descriptor, timeout), m_peer(peer), m_deadline(Clock::now() + milliseconds(timeout)) {}

PolicyConnection::~PolicyConnection() noexcept(false) {
  BeginToEnd();
  ThreadedObject::StopObjectThread();
}

void PolicyConnection::BeginToEnd() {
  m_bRunning = false;
  shutdown(m_descriptor, SHUT_RD);  // wakes a thread that waits
}

std::uint32_t PolicyConnection::ObjectThreadMethod() {
  try {
    Serve();
  } catch (const std::exception& e) {
    fwk::Logger::Log(fwk::Warning, "PolicyConnection::ObjectThreadMethod - closed %s: %s",
                     m_peer.c_str(), e.what());
  }
  shutdown(m_descriptor, SHUT_RDWR);  // the descriptor stays the owner's to close
  m_ended = true;
  return 0;
}

void PolicyConnection::Serve() {
  Buffer buffer;
  while (m_bRunning) {
    Wait();
    const std::size_t length = Receive(buffer);
    if (length == 0) {
      if (m_bRunning && !m_request.IsEmpty()) {
        ThrowSocketClosed("end within a request");
      }
      return;
    }
    AnswerWhatIsComplete(buffer, length);
  }
}

void PolicyConnection::AnswerWhatIsComplete(const Buffer& buffer, std::size_t length) {
  for (std::size_t i = 0; i < length && m_bRunning; ++i) {
    if (m_request.Take(buffer[i])) {
      Answer();
      m_request = PolicyRequest();
      m_deadline = Clock::now() + milliseconds(m_timeout);
    }
  }
}

void PolicyConnection::Answer() {
  const Clock::time_point start = Clock::now();
  const PolicyDecision decision(m_request);
  const auto elapsed = std::chrono::duration_cast<milliseconds>(Clock::now() - start);
  fwk::Logger::Log(fwk::Info,
                   "PolicyConnection::Answer - %s (%lld ms) client %s sender <%s> helo %s",
                   decision.GetAction().c_str(), static_cast<long long>(elapsed.count()),
                   m_request.Get("client_address").c_str(), m_request.Get("sender").c_str(),
                   m_request.Get("helo_name").c_str());
  Send("action=" + decision.GetAction() + "\n\n");
}

// Waits until there is something to receive, at most until the deadline.
void PolicyConnection::Wait() const {
  pollfd event{m_descriptor, POLLIN, 0};
  int ready = 0;
  do {
    const auto left = std::chrono::ceil<milliseconds>(m_deadline - Clock::now()).count();
    ready = poll(&event, 1, static_cast<int>(std::max(left, decltype(left){0})));
  } while (ready < 0 && errno == EINTR);
  if (ready < 0) {
    ThrowSocketError("PolicyConnection::Wait - poll", 0);
  }
  if (ready == 0) {
    throw SocketException("no complete request in time");
  }
}

// Returns how many bytes came; 0 at the end of the connection.
std::size_t PolicyConnection::Receive(Buffer& buffer) const {
  const ssize_t length = recv(m_descriptor, buffer.data(), buffer.size(), 0);
  if (length < 0) {
    ThrowSocketError("PolicyConnection::Receive - recv", 0);
  }
  return static_cast<std::size_t>(length);
}

void PolicyConnection::Send(const std::string& text) const {
  // A peer that has gone is an exception, not a SIGPIPE; nobody waits for one that does not read.
  const ssize_t sent = send(m_descriptor, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  if (sent < 0) {
    ThrowSocketError("PolicyConnection::Send - send", 0);
  }
  if (static_cast<std::size_t>(sent) != text.size()) {
    throw SocketException("answer not read");
  }
}
