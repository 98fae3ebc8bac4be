#include "tests/faults/DelayedNameServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace {

constexpr std::ptrdiff_t kQuestion = 12;  // where it begins in a query

std::string TypeOf(const std::string& question) {
  return question.substr(0, question.find(' '));
}

// A question as a query holds it, up to its type.
Bytes Encoded(const std::string& question) {
  const std::string type = TypeOf(question);
  Bytes bytes = ReplyBuilder::Name(question.substr(type.size() + 1));
  bytes.push_back(0);
  bytes.push_back(type == "A" ? 1 : type == "NS" ? 2 : 16);
  return bytes;
}

bool Asks(const Bytes& query, const std::string& question) {
  const Bytes encoded = Encoded(question);
  return query.size() >= kQuestion + encoded.size() &&
         std::equal(encoded.begin(), encoded.end(), query.begin() + kQuestion);
}

Bytes Answer(const Bytes& query, const DelayedNameServer::Reply& reply) {
  const std::string type = TypeOf(reply.question);
  ReplyBuilder builder(query);
  if (type == "A") {
    return builder.A(reply.value).Build();
  }
  return type == "NS" ? builder.NS(reply.value).Build() : builder.TXT({reply.value}).Build();
}

}  // namespace

DelayedNameServer::DelayedNameServer(std::vector<Reply> replies, const std::string& dottedQuad)
    : m_replies(std::move(replies)), m_socket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(53);
  address.sin_addr.s_addr = inet_addr(dottedQuad.c_str());
  if (bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) < 0 ||
      pipe2(m_stop, O_CLOEXEC) < 0) {
    throw std::system_error(errno, std::generic_category(), "DelayedNameServer");
  }
  m_thread = std::thread([this] { Serve(); });
}

DelayedNameServer::~DelayedNameServer() {
  close(m_stop[1]);
  m_thread.join();
  close(m_stop[0]);
  close(m_socket);
}

void DelayedNameServer::Serve() {
  while (true) {
    std::array<pollfd, 2> events = {{{m_socket, POLLIN, 0}, {m_stop[0], POLLIN, 0}}};
    poll(events.data(), events.size(), MillisecondsToNext());
    if (events[1].revents != 0) {
      return;
    }
    if (events[0].revents != 0) {
      Accept();
    }
    SendWhatIsDue();
  }
}

int DelayedNameServer::MillisecondsToNext() const {
  if (m_letters.empty()) {
    return -1;
  }
  const auto left = m_letters.begin()->first - Clock::now();
  return std::max(0, static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(left).count()));
}

void DelayedNameServer::Accept() {
  const auto now = Clock::now();
  std::array<unsigned char, 1024> buffer;
  sockaddr_in client{};
  socklen_t clientLength = sizeof(client);
  const ssize_t length = recvfrom(m_socket, buffer.data(), buffer.size(), 0,
                                  reinterpret_cast<sockaddr*>(&client), &clientLength);
  if (length < 0) {
    return;
  }
  const Bytes query(buffer.begin(), buffer.begin() + length);
  for (const Reply& reply : m_replies) {
    if (Asks(query, reply.question)) {
      m_letters.insert({now + reply.delay, {client, Answer(query, reply)}});
    }
  }
}

void DelayedNameServer::SendWhatIsDue() {
  const auto end = m_letters.upper_bound(Clock::now());
  for (auto letter = m_letters.begin(); letter != end; ++letter) {
    const auto& [to, bytes] = letter->second;
    sendto(m_socket, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to),
           sizeof(to));
  }
  m_letters.erase(m_letters.begin(), end);
}
