// PolicyConnection is one connection of Postfix's policy protocol: it reads requests, as far as
// they have come, and sends the answers.
//
// A connection is over when the peer closes it, when a request is malformed or too long
// (PolicyRequest), as the protocol asks for, and when an answer does not fit into the socket's
// buffer because the peer does not read. One thread at a time; nothing blocks but the answering.

#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "framework/net/Socket.h"
#include "programs/spf-policyd/PolicyRequest.h"

class PolicyConnection : public Socket {
 public:
  using Clock = std::chrono::steady_clock;

  // Decides on a request of the connection with this descriptor and sends the answer by Send();
  // returns whether the connection goes on.
  using Answer =
      std::function<bool(const PolicyRequest& request, const PolicyConnection& connection)>;

  PolicyConnection();
  ~PolicyConnection() noexcept(false) override;

  // Accepts the next connection that waits at `listener`, a non-blocking socket. Its descriptor is
  // moved above those that look-ups can use, if the process may have such. Returns false, and sets
  // errno, where there is none to be had.
  bool Accept(int listener);

  // Reads what has come, at most 4 KiB, and answers each request that is complete. Returns whether
  // the connection goes on.
  bool Serve(const Answer& answer);

  // Sends an answer with `action`. Returns whether the system took it and the peer has not closed
  // its end.
  bool Send(const std::string& action) const;

  int GetDescriptor() const { return m_descriptor; }

  // Returns when the last request was answered or, before the first, when the object was made.
  Clock::time_point GetLastAnswer() const { return m_lastAnswer; }

 private:
  bool Take(const char* bytes, std::size_t count, const Answer& answer);

  PolicyRequest m_request;  // as far as it was received
  Clock::time_point m_lastAnswer = Clock::now();
};
