// PolicyConnection serves one connection from a thread of its own: it answers requests, any number
// of them, until the peer closes the connection or something is wrong.
//
// When something is wrong it closes the connection without an answer and logs a Warning, as the
// protocol asks for; Postfix then asks once more on a new connection and, should that fail, too,
// lets the client come back later. It is wrong
//
//   - when a request is malformed or too long (PolicyRequest),
//   - when the peer ends within a request,
//   - when no complete request comes in time: Postfix keeps a connection open for up to 300 s
//     between requests, so it is 360 s from the start or from the answer before,
//   - when the peer sends on and on without reading, until an answer does not fit into the
//     socket's buffer.
//
// A request that is well formed always gets its answer, and one Info line in the log.
//
// The owner makes it, starts it, looks whether it has ended, and destroys it, which waits for the
// end of the thread.

#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>

#include "examples/policy_server/PolicyRequest.h"
#include "framework/core/ThreadedObject.h"
#include "framework/net/Socket.h"

class PolicyConnection : public Socket, public ThreadedObject {
 public:
  static constexpr int kPatienceMs = 360000;

  // descriptor: a connected stream socket, owned from now on. peer: its name in the log.
  // timeout: milliseconds to wait for a complete request.
  PolicyConnection(int descriptor, int timeout, const std::string& peer);
  ~PolicyConnection() noexcept(false) override;

  // Whether the connection was served to its end.
  bool HasEnded() const { return m_ended; }

  // Tells the thread to end, without waiting for it: no more requests are read; the one that is
  // being decided on still gets its answer, which may take as long as its look-ups do.
  void BeginToEnd();

  std::uint32_t ObjectThreadMethod() override;

 private:
  using Clock = std::chrono::steady_clock;
  using Buffer = std::array<char, 4096>;

  void Serve();
  void AnswerWhatIsComplete(const Buffer& buffer, std::size_t length);
  void Answer();
  void Wait() const;
  std::size_t Receive(Buffer& buffer) const;
  void Send(const std::string& text) const;

  std::string m_peer;
  PolicyRequest m_request;       // as far as it was received
  Clock::time_point m_deadline;  // by which it has to be complete
  std::atomic<bool> m_ended{false};
};
