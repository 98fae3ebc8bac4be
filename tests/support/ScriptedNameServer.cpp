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

#include "tests/support/ReplyBuilder.h"

namespace {

constexpr std::size_t kQuestion = 12;

[[noreturn]] void ThrowErrno(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

int Bind(const std::string& dottedQuad, std::uint16_t port) {
  const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = inet_addr(dottedQuad.c_str());
  if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) < 0) {
    ThrowErrno("bind");
  }
  return descriptor;
}

std::string TypeName(int type) {
  switch (type) {
    case 1:
      return "A";
    case 2:
      return "NS";
    case 16:
      return "TXT";
    default:
      return std::to_string(type);
  }
}

}  // namespace

ScriptedNameServer::ScriptedNameServer(Script script) : ScriptedNameServer(std::move(script), -1) {}

ScriptedNameServer::ScriptedNameServer(Script script, const std::string& replyAddress)
    : ScriptedNameServer(std::move(script), Bind(replyAddress, 0)) {}

ScriptedNameServer::ScriptedNameServer(Zone zone)
    : ScriptedNameServer([zone = std::move(zone)](const Bytes& query) {
        return Datagrams{AnswerFrom(zone, query)};
      }) {}

ScriptedNameServer::ScriptedNameServer(Script script, int replySocket)
    : m_script(std::move(script)),
      m_socket(Bind("127.0.0.1", 53)),
      m_replySocket(replySocket < 0 ? m_socket : replySocket) {
  if (pipe(m_stop) < 0) {
    ThrowErrno("pipe");
  }
  m_thread = std::thread([this] { Serve(); });
}

ScriptedNameServer::~ScriptedNameServer() {
  close(m_stop[1]);
  m_thread.join();
  close(m_stop[0]);
  if (m_replySocket != m_socket) {
    close(m_replySocket);
  }
  close(m_socket);
}

std::string ScriptedNameServer::QuestionOf(const Bytes& query) {
  std::string name;
  std::size_t at = kQuestion;
  while (query.at(at) != 0) {
    const auto label = query.begin() + static_cast<std::ptrdiff_t>(at + 1);
    name.append(name.empty() ? "" : ".").append(label, label + query[at]);
    at += query[at] + std::size_t{1};
  }
  return TypeName(query.at(at + 1) << 8 | query.at(at + 2)) + " " + name;
}

Bytes ScriptedNameServer::AnswerFrom(const Zone& zone, const Bytes& query) {
  ReplyBuilder reply(query);
  const std::string question = QuestionOf(query);
  const auto entry = zone.find(question);
  if (entry == zone.end()) {
    return reply.Build();
  }
  for (const std::string& value : entry->second) {
    if (question.starts_with("A ")) {
      reply.A(value);
    } else if (question.starts_with("NS ")) {
      reply.NS(value);
    } else {
      reply.TXT({value});
    }
  }
  return reply.Build();
}

std::vector<Bytes> ScriptedNameServer::Queries() const {
  const std::lock_guard guard(m_mutex);
  return m_queries;
}

std::vector<std::string> ScriptedNameServer::Questions() const {
  std::vector<std::string> questions;
  for (const Bytes& query : Queries()) {
    questions.push_back(QuestionOf(query));
  }
  return questions;
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
      sendto(m_replySocket, reply.data(), reply.size(), 0, clientAddress, clientLength);
    }
  }
}
