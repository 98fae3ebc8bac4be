#include "tests/support/RealNameServer.h"

#include <unistd.h>

#include <stdexcept>
#include <string>

#include "tests/support/PrivateNetwork.h"
#include "tests/support/Skip.h"

namespace {

// Returns the program that scripts/test unpacked of the Debian package or, where there is none, the
// installed one.
std::string PathOf(const std::string& program, const std::string& package) {
  const std::string unpacked = UNPACKED_SERVERS "/" + package + "/usr/sbin/" + program;
  return access(unpacked.c_str(), X_OK) == 0 ? unpacked : "/usr/sbin/" + program;
}

const ServerProgram& ProgramOf(Server server) {
  static const ServerProgram named = {
      PathOf("named", "bind9"),
      {"named", "-g", "-n", "1", "-c", SERVER_DIRECTORY "/named.conf"},
      "127.0.0.1"};
  static const ServerProgram nsd = {
      PathOf("nsd", "nsd"), {"nsd", "-d", "-c", SERVER_DIRECTORY "/nsd.conf"}, "127.0.0.2"};
  static const ServerProgram unbound = {PathOf("unbound", "unbound"),
                                        {"unbound", "-d", "-c", SERVER_DIRECTORY "/unbound.conf"},
                                        "127.0.0.1"};
  switch (server) {
    case Server::kNamed:
      return named;
    case Server::kNsd:
      return nsd;
    case Server::kUnbound:
      return unbound;
  }
  throw std::logic_error("no such server");
}

std::unique_ptr<ServerProcess> Started(const ServerProgram& program) {
  if (access(program.path.c_str(), X_OK) < 0) {
    Skip(std::string(program.arguments.front()) + " is missing");
  }
  return std::make_unique<ServerProcess>(program);
}

}  // namespace

RealNameServer::RealNameServer(Server server) {
  if (server == Server::kUnbound) {
    m_processes.push_back(Started(ProgramOf(Server::kNsd)));
  }
  m_processes.push_back(Started(ProgramOf(server)));
  SetResolverFile(std::string("nameserver ") + ProgramOf(server).address + "\n");
}
