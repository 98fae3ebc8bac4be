#include "tests/end_to_end/NameServer.h"

#include <stdexcept>
#include <string>

#include "tests/support/PrivateNetwork.h"

namespace {

const ServerProgram& ProgramOf(Server server) {
  static const ServerProgram named = {
      NAMED_PROGRAM, {"named", "-g", "-n", "1", "-c", SERVER_DIRECTORY "/named.conf"}, "127.0.0.1"};
  static const ServerProgram nsd = {
      NSD_PROGRAM, {"nsd", "-d", "-c", SERVER_DIRECTORY "/nsd.conf"}, "127.0.0.2"};
  static const ServerProgram unbound = {
      UNBOUND_PROGRAM, {"unbound", "-d", "-c", SERVER_DIRECTORY "/unbound.conf"}, "127.0.0.1"};
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

}  // namespace

NameServer::NameServer(Server server) {
  if (server == Server::kUnbound) {
    m_processes.push_back(std::make_unique<ServerProcess>(ProgramOf(Server::kNsd)));
  }
  m_processes.push_back(std::make_unique<ServerProcess>(ProgramOf(server)));
  SetResolverFile(std::string("nameserver ") + ProgramOf(server).address + "\n");
}
