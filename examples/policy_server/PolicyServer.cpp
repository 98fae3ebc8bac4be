#include "examples/policy_server/PolicyServer.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>

#include <exception>
#include <utility>

#include "framework/logging/Logger.h"
#include "framework/net/AddressRecord.h"

namespace {

constexpr int kPollMs = 200;  // how long an end may have to wait

}  // namespace

PolicyServer::PolicyServer(const std::string& port) : Socket(0, 0) {
  Listen(port);
}

PolicyServer::~PolicyServer() noexcept(false) {
  ThreadedObject::StopObjectThread();
  for (const auto& connection : m_connections) {
    connection->BeginToEnd();
  }
  m_connections.clear();
}

void PolicyServer::Listen(const std::string& port) {
  CreateSocket(AF_INET, SOCK_STREAM, 0, true);
  SetSocketOptionsReUseAddress();
  const AddressRecord address = Resolve("", port, false).front();  // on 127.0.0.1
  if (bind(m_descriptor, reinterpret_cast<const sockaddr*>(address.GetAddress()),
           static_cast<socklen_t>(address.GetLength())) < 0) {
    ThrowSocketError("PolicyServer::Listen - bind 127.0.0.1:" + port, 0);
  }
  if (listen(m_descriptor, SOMAXCONN) < 0) {
    ThrowSocketError("PolicyServer::Listen - listen 127.0.0.1:" + port, 0);
  }
}

std::uint32_t PolicyServer::ObjectThreadMethod() {
  while (m_bRunning) {
    std::erase_if(m_connections, [](const auto& connection) { return connection->HasEnded(); });
    try {
      AcceptNext();
    } catch (const std::exception& e) {
      fwk::Logger::Log(fwk::Warning, "PolicyServer::ObjectThreadMethod - %s", e.what());
      poll(nullptr, 0, kPollMs);  // what is short now, as descriptors or threads, may come back
    }
  }
  return 0;
}

// Waits for a connection, at most kPollMs.
void PolicyServer::AcceptNext() {
  const bool full = m_connections.size() == kMaxConnections;
  pollfd event{full ? -1 : m_descriptor, POLLIN, 0};  // poll passes over the descriptor -1
  if (poll(&event, 1, kPollMs) > 0) {
    Accept();
  }
}

void PolicyServer::Accept() {
  sockaddr_in address{};
  socklen_t length = sizeof(address);
  const int descriptor = accept(m_descriptor, reinterpret_cast<sockaddr*>(&address), &length);
  if (descriptor < 0) {
    ThrowSocketError("PolicyServer::Accept - accept", 0);
  }
  const std::string peer =
      std::string(inet_ntoa(address.sin_addr)) + ":" + std::to_string(ntohs(address.sin_port));
  auto connection =
      std::make_unique<PolicyConnection>(descriptor, PolicyConnection::kPatienceMs, peer);
  connection->StartObjectThread(false, -1);
  m_connections.push_back(std::move(connection));
}
