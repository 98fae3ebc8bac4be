#include "fuzz/ScriptedNetwork.h"

#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

#include "framework/dns/NameServer.h"
#include "framework/logging/Logger.h"
#include "fuzz/Rules.h"

namespace {

ScriptedNetwork::Server activeServer;
std::optional<Bytes> waiting;  // the reply that was not received yet

}  // namespace

ScriptedNetwork::ScriptedNetwork(Server server) {
  activeServer = std::move(server);
  dns_servers = "127.0.0.1";
  // Lines are composed but not written.
  fwk::Logger::Init("unused", fwk::Debug, true, true);
  fwk::Logger::m_bToFile = false;
}

ScriptedNetwork::~ScriptedNetwork() {
  activeServer = nullptr;
  waiting.reset();
}

extern "C" ssize_t sendto(int /*socket*/, const void* data, size_t size, int /*flags*/,
                          const sockaddr* /*to*/, socklen_t /*length*/) {
  Require(activeServer != nullptr, "queries are sent while there is a network");
  const auto* const bytes = static_cast<const unsigned char*>(data);
  waiting = activeServer(Bytes(bytes, bytes + size));
  return static_cast<ssize_t>(size);
}

extern "C" ssize_t recvfrom(int /*socket*/, void* data, size_t size, int /*flags*/,
                            sockaddr* /*from*/, socklen_t* /*length*/) {
  if (!waiting) {
    errno = EAGAIN;
    return -1;
  }
  const std::size_t length = std::min(size, waiting->size());
  std::copy_n(waiting->begin(), length, static_cast<unsigned char*>(data));
  waiting.reset();
  return static_cast<ssize_t>(length);
}

extern "C" int select(int /*count*/, fd_set* /*read*/, fd_set* /*write*/, fd_set* /*except*/,
                      timeval* /*timeout*/) {
  return 1;
}

extern "C" int poll(pollfd* events, nfds_t /*count*/, int /*timeout*/) {
  events[0].revents = POLLIN;
  return 1;
}
