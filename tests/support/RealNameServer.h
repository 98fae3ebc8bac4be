// The real name servers that the tests ask.

#pragma once

#include <memory>
#include <vector>

#include "tests/support/ServerProcess.h"

enum class Server {
  kNamed,    // authoritative; of the package bind9
  kNsd,      // authoritative
  kUnbound,  // a resolver that asks an nsd
};

class RealNameServer {
 public:
  // Starts the server and makes it the one that /etc/resolv.conf names. Where its program is
  // missing the test is skipped.
  explicit RealNameServer(Server server);

 private:
  std::vector<std::unique_ptr<ServerProcess>> m_processes;
};
