#include "tests/support/ScriptedNameServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "tests/support/ReplyBuilder.h"
#include "tests/support/Waiting.h"

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

// Returns a script whose replies are sent at once.
auto AtOnce(ScriptedNameServer::Script script) {
  return [script = std::move(script)](const Bytes& query) {
    std::multimap<std::chrono::milliseconds, Bytes> letters;
    for (const Bytes& datagram : script(query)) {
      letters.insert({std::chrono::milliseconds(0), datagram});
    }
    return letters;
  };
}

}  // namespace

ScriptedNameServer::ScriptedNameServer(Script script)
    : ScriptedNameServer(AtOnce(std::move(script)), Bind("127.0.0.1", 53), -1) {}

ScriptedNameServer::ScriptedNameServer(Script script, const std::string& replyAddress)
    : ScriptedNameServer(AtOnce(std::move(script)), Bind("127.0.0.1", 53), Bind(replyAddress, 0)) {}

ScriptedNameServer::ScriptedNameServer(Zone zone)
    : ScriptedNameServer(Script([zone = std::move(zone)](const Bytes& query) {
        return Datagrams{AnswerFrom(zone, query)};
      })) {}

ScriptedNameServer::ScriptedNameServer(const std::string& address,
                                       std::vector<DelayedReply> replies)
    : ScriptedNameServer(
          [replies = std::move(replies)](const Bytes& query) {
            Letters letters;
            for (const auto& [question, delay, value] : replies) {
              if (question == QuestionOf(query)) {
                letters.insert({delay, AnswerFrom({{question, {value}}}, query)});
              }
            }
            return letters;
          },
          Bind(address, 53), -1) {}

ScriptedNameServer::ScriptedNameServer(std::function<Letters(const Bytes& query)> script,
                                       int socket, int replySocket)
    : m_script(std::move(script)),
      m_socket(socket),
      m_replySocket(replySocket < 0 ? m_socket : replySocket) {
  if (pipe2(m_stop, O_CLOEXEC) < 0) {
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

bool ScriptedNameServer::IsAsked() const {
  return ComesTrue([this] { return !Queries().empty(); });
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
  while (true) {
    std::array<pollfd, 2> events = {{{m_socket, POLLIN, 0}, {m_stop[0], POLLIN, 0}}};
    poll(events.data(), events.size(), MillisecondsToNext());
    if (events[1].revents != 0) {
      return;
    }
    if (events[0].revents != 0) {
      Accept();
    }
    SendDue();
  }
}

int ScriptedNameServer::MillisecondsToNext() const {
  if (m_letters.empty()) {
    return -1;
  }
  const auto left = m_letters.begin()->first - Clock::now();
  return std::max(0, static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(left).count()));
}

void ScriptedNameServer::Accept() {
  const auto now = Clock::now();
  std::array<unsigned char, 65536> buffer;
  sockaddr_in client{};
  socklen_t clientLength = sizeof(client);
  const ssize_t length = recvfrom(m_socket, buffer.data(), buffer.size(), 0,
                                  reinterpret_cast<sockaddr*>(&client), &clientLength);
  if (length < 0) {
    return;
  }
  const Bytes query(buffer.begin(), buffer.begin() + length);
  {
    const std::lock_guard guard(m_mutex);
    m_queries.push_back(query);
  }
  for (const auto& [delay, bytes] : m_script(query)) {
    m_letters.insert({now + delay, {client, bytes}});
  }
}

void ScriptedNameServer::SendDue() {
  const auto end = m_letters.upper_bound(Clock::now());
  for (auto letter = m_letters.begin(); letter != end; ++letter) {
    const auto& [to, bytes] = letter->second;
    sendto(m_replySocket, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to),
           sizeof(to));
  }
  m_letters.erase(m_letters.begin(), end);
}
