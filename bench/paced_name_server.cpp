// A name server that takes the same time for each answer, however many questions it has:
//   paced_name_server MILLISECONDS [LOST]
//
// It answers on 127.0.0.1, port 53, until a signal ends it: TXT questions with a record that allows
// 192.0.2.0/24, all others with no record. Names that begin with "silent", and one of each LOST
// questions, get no answer.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <string>
#include <string_view>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::size_t kHeader = 12;
constexpr std::string_view kRecord = "v=spf1 ip4:192.0.2.0/24 -all";

struct Reply {
  Clock::time_point due;
  sockaddr_in peer;
  std::string bytes;
};

// Returns the end of the question of `query`, or 0 when it has none.
std::size_t EndOfQuestion(std::string_view query) {
  std::size_t at = kHeader;
  while (at < query.size() && query[at] != 0) {
    at += 1 + static_cast<unsigned char>(query[at]);
  }
  return at + 5 <= query.size() ? at + 5 : 0;
}

bool IsSilent(std::string_view query) {
  return query.substr(kHeader + 1).starts_with("silent");
}

std::string MakeReply(std::string_view query, std::size_t end) {
  const bool isText = query[end - 3] == 16;
  std::string reply(query.substr(0, end));
  reply.replace(2, 2, "\x81\x80", 2);
  reply.replace(6, 6, std::string{'\0', static_cast<char>(isText), '\0', '\0', '\0', '\0'});
  if (isText) {
    reply.append("\xC0\x0C\0\x10\0\x01\0\0\x01\x2C\0", 11);
    reply += static_cast<char>(kRecord.size() + 1);
    reply += static_cast<char>(kRecord.size());
    reply += kRecord;
  }
  return reply;
}

// Blocks until there is a question, or until the first of the replies is due.
void WaitForWork(int descriptor, const std::deque<Reply>& replies) {
  timespec time{};
  if (!replies.empty()) {
    const auto left = std::max(replies.front().due - Clock::now(), Clock::duration::zero());
    const auto whole = std::chrono::floor<std::chrono::seconds>(left);
    time = {whole.count(), std::chrono::nanoseconds(left - whole).count()};
  }
  pollfd event{descriptor, POLLIN, 0};
  ppoll(&event, 1, replies.empty() ? nullptr : &time, nullptr);
}

// Takes all questions that have arrived. Their answers are due in the same order.
void TakeQuestions(int descriptor, milliseconds delay, unsigned lost, std::deque<Reply>& replies) {
  static unsigned asked = 0;
  std::array<char, 2048> buffer;
  for (;;) {
    sockaddr_in peer{};
    socklen_t length = sizeof(peer);
    const ssize_t size = recvfrom(descriptor, buffer.data(), buffer.size(), MSG_DONTWAIT,
                                  reinterpret_cast<sockaddr*>(&peer), &length);
    if (size < 0) {
      return;
    }
    const std::string_view query(buffer.data(), static_cast<std::size_t>(size));
    const std::size_t end = EndOfQuestion(query);
    if (end != 0 && !IsSilent(query) && (lost == 0 || ++asked % lost != 0)) {
      replies.push_back({Clock::now() + delay, peer, MakeReply(query, end)});
    }
  }
}

void SendWhatIsDue(int descriptor, std::deque<Reply>& replies) {
  const Clock::time_point now = Clock::now();
  while (!replies.empty() && replies.front().due <= now) {
    const Reply& reply = replies.front();
    sendto(descriptor, reply.bytes.data(), reply.bytes.size(), 0,
           reinterpret_cast<const sockaddr*>(&reply.peer), sizeof(reply.peer));
    replies.pop_front();
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc < 2) {
    std::fprintf(stderr, "Usage: %s MILLISECONDS [LOST]\n", argv[0]);
    return 2;
  }
  const milliseconds delay(std::atoi(argv[1]));
  const unsigned lost = argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : 0;
  const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);
  const int room = 8 << 20;
  setsockopt(descriptor, SOL_SOCKET, SO_RCVBUFFORCE, &room, sizeof(room));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(53);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) < 0) {
    std::perror("paced_name_server: bind");
    return 2;
  }
  std::deque<Reply> replies;
  for (;;) {
    WaitForWork(descriptor, replies);
    TakeQuestions(descriptor, delay, lost, replies);
    SendWhatIsDue(descriptor, replies);
  }
}
