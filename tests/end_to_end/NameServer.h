// The real name servers that the tests ask.

#pragma once

#include <memory>
#include <vector>

#include "tests/end_to_end/ServerProcess.h"

enum class Server {
  kNamed,    // authoritative; of the package bind9
  kNsd,      // authoritative
  kUnbound,  // a resolver that asks an nsd
};

class NameServer {
 public:
  // Starts the server and makes it the one that /etc/resolv.conf names. Where its program is
  // missing the test is skipped.
  explicit NameServer(Server server);

 private:
  std::vector<std::unique_ptr<ServerProcess>> m_processes;
};
