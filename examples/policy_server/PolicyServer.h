// PolicyServer listens on a port of 127.0.0.1 and gives each connection that it accepts a
// PolicyConnection, which serves it from a thread of its own.
//
// At most kMaxConnections are served at once. Further ones wait in the kernel's queue until one
// has ended: Postfix waits for up to 100 s, while a refused connection would defer the mail.
//
// The owner makes it, starts its thread (StartObjectThread(false, -1)), and destroys it, which ends
// all connections as PolicyConnection::BeginToEnd says.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "examples/policy_server/PolicyConnection.h"
#include "framework/core/ThreadedObject.h"
#include "framework/net/Socket.h"

class PolicyServer : public Socket, public ThreadedObject {
 public:
  // Those of the processes that Postfix starts for one service, and as many again on which checks
  // go on that Postfix no longer waits for (PolicyDecision::kMaxChecks). Each has a descriptor and
  // its look-up another: together far from 1024, above which look-ups take none.
  static constexpr std::size_t kMaxConnections = 200;

  // Listens; what connects before the start of the thread waits. port: decimal, not checked.
  // Throws a SocketException "PolicyServer::Listen - ..." when the port cannot be had.
  explicit PolicyServer(const std::string& port);
  ~PolicyServer() noexcept(false) override;

  // Accepts connections, and clears away those that have ended.
  std::uint32_t ObjectThreadMethod() override;

 private:
  void Listen(const std::string& port);
  void AcceptNext();
  void Accept();

  std::vector<std::unique_ptr<PolicyConnection>> m_connections;
};
