// The real name servers that the tests ask. They serve the zones beside them.

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

enum class Server {
  kNamed,    // authoritative; of the package bind9
  kNsd,      // authoritative
  kUnbound,  // a resolver that asks an nsd
};

class RealNameServer {
 public:
  // Starts the server and makes it the one that /etc/resolv.conf names. Skips the test where its
  // program is missing. Throws std::runtime_error with its log if it does not answer within 10 s.
  explicit RealNameServer(Server server);
  ~RealNameServer();

  RealNameServer(const RealNameServer&) = delete;
  RealNameServer& operator=(const RealNameServer&) = delete;

 private:
  struct Program;

  static const Program& ProgramOf(Server server);
  void Start(const Program& program);

  TemporaryDirectory m_directory;  // in which the servers run
  std::vector<std::unique_ptr<ChildProcess>> m_processes;
};
