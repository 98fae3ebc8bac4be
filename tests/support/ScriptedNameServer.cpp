#include "tests/support/ScriptedNameServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace {

[[noreturn]] void ThrowErrno(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

int BindPort53() {
  const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(53);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) < 0) {
    ThrowErrno("bind to port 53");
  }
  return descriptor;
}

}  // namespace

ScriptedNameServer::ScriptedNameServer(Script script)
    : m_script(std::move(script)), m_socket(BindPort53()) {
  if (pipe(m_stop) < 0) {
    ThrowErrno("pipe");
  }
  m_thread = std::thread([this] { Serve(); });
}

ScriptedNameServer::~ScriptedNameServer() {
  close(m_stop[1]);
  m_thread.join();
  close(m_stop[0]);
  close(m_socket);
}

std::vector<Bytes> ScriptedNameServer::Queries() const {
  const std::lock_guard guard(m_mutex);
  return m_queries;
}

void ScriptedNameServer::Serve() {
  std::array<unsigned char, 65536> buffer;
  while (true) {
    std::array<pollfd, 2> events = {{{m_socket, POLLIN, 0}, {m_stop[0], POLLIN, 0}}};
    poll(events.data(), events.size(), -1);
    if (events[1].revents != 0) {
      return;
    }
    sockaddr_in client{};
    socklen_t clientLength = sizeof(client);
    auto* const clientAddress = reinterpret_cast<sockaddr*>(&client);
    const ssize_t length =
        recvfrom(m_socket, buffer.data(), buffer.size(), 0, clientAddress, &clientLength);
    if (length < 0) {
      continue;
    }
    const Bytes query(buffer.begin(), buffer.begin() + length);
    {
      const std::lock_guard guard(m_mutex);
      m_queries.push_back(query);
    }
    for (const Bytes& reply : m_script(query)) {
      sendto(m_socket, reply.data(), reply.size(), 0, clientAddress, clientLength);
    }
  }
}
