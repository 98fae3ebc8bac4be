// PolicyConnection is one connection of Postfix's policy protocol: it reads requests as they
// arrive, and sends the answers.
//
// A connection ends when the peer closes it, when a request is malformed or too long
// (PolicyRequest), as the protocol requires, and when an answer does not fit into the socket's
// buffer because the peer does not read. One thread at a time; only the Answer may block.

#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "framework/net/Socket.h"
#include "programs/spf-policyd/PolicyRequest.h"

class PolicyConnection : public Socket {
 public:
  using Clock = std::chrono::steady_clock;

  // Decides on `request` and sends the answer by Send() of `connection`. Returns whether the
  // connection continues.
  using Answer = std::function<bool(const PolicyRequest& request, PolicyConnection& connection)>;

  PolicyConnection();
  ~PolicyConnection() noexcept(false) override;

  // Accepts the next connection that waits at `listener`, a non-blocking socket. Moves its
  // descriptor above those that look-ups can use, if the process may have such. Returns false and
  // sets errno if there is no connection or no descriptor.
  bool Accept(int listener);

  // Reads the bytes that have arrived, at most 4 KiB, and answers each complete request. Returns
  // whether the connection continues.
  bool Serve(const Answer& answer);

  // Sends an answer with `action`. Returns whether the system accepted it and the peer has not
  // closed its end.
  bool Send(const std::string& action);

  int GetDescriptor() const { return m_descriptor; }

  // Returns when the last request was answered, or when the object was made if none was.
  Clock::time_point GetLastAnswer() const { return m_lastAnswer; }

 private:
  bool Take(const char* bytes, std::size_t count, const Answer& answer);

  PolicyRequest m_request;  // as far as it has arrived
  Clock::time_point m_lastAnswer = Clock::now();
};
