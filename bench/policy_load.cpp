// Asks a policy service as Postfix does, on many connections at once, each of which sends its next
// request when it has its answer:
//   policy_load CONNECTIONS REQUESTS DOMAINS PORT
//   policy_load CONNECTIONS REQUESTS DOMAINS PROGRAM [ARGUMENT...]
//
// PORT is one of 127.0.0.1; a PROGRAM is started once for each connection, as Postfix's spawn does.
// The requests name DOMAINS domains in turn, each is a message of its own. Prints, separated by
// tabs: requests a second, the 99th percentile of the time for an answer in milliseconds, how many
// answers do not say that the check passed, and for programs the memory of the largest one and of
// all, in KiB.

#include <arpa/inet.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct Connection {
  int descriptor = -1;
  pid_t program = 0;
  Clock::time_point asked;
  std::string answer;
};

[[noreturn]] void Fail(const char* what) {
  std::perror(what);
  std::exit(2);
}

Connection ConnectTo(int port) {
  Connection connection;
  connection.descriptor = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(connection.descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) <
      0) {
    Fail("policy_load: connect");
  }
  return connection;
}

Connection Start(char* const command[]) {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) < 0) {
    Fail("policy_load: socketpair");
  }
  Connection connection;
  connection.descriptor = ends[0];
  connection.program = fork();
  if (connection.program == 0) {
    dup2(ends[1], STDIN_FILENO);
    dup2(ends[1], STDOUT_FILENO);
    execvp(command[0], command);
    _exit(127);
  }
  close(ends[1]);
  return connection;
}

void Ask(Connection& connection, int number, int domains) {
  const std::string domain = "d" + std::to_string(number % domains) + ".bench.test";
  const std::string request =
      "request=smtpd_access_policy\nprotocol_state=RCPT\nprotocol_name=ESMTP\n"
      "client_address=192.0.2.7\nclient_name=mail.bench.test\nreverse_client_name=mail.bench.test\n"
      "helo_name=mail.bench.test\nsender=joe@" +
      domain + "\nrecipient=jane@example.net\nrecipient_count=0\nqueue_id=\ninstance=bench." +
      std::to_string(number) + "\nsize=1000\netrn_domain=\nstress=\nsasl_method=\n\n";
  connection.asked = Clock::now();
  if (write(connection.descriptor, request.data(), request.size()) !=
      static_cast<ssize_t>(request.size())) {
    Fail("policy_load: write");
  }
}

// Returns whether the answer is complete.
bool TakeAnswer(Connection& connection) {
  std::array<char, 4096> buffer;
  const ssize_t size = read(connection.descriptor, buffer.data(), buffer.size());
  if (size <= 0) {
    Fail("policy_load: the service ended a connection");
  }
  connection.answer.append(buffer.data(), static_cast<std::size_t>(size));
  return connection.answer.ends_with("\n\n");
}

bool SaysPassed(const std::string& answer) {
  return answer.find("; passed;") != std::string::npos ||
         answer.find("Received-SPF: pass") != std::string::npos ||
         answer.find("Received-SPF: Pass") != std::string::npos;
}

// Returns the memory that a program has needed, in KiB.
long PeakMemory(pid_t program) {
  std::FILE* const file = std::fopen(("/proc/" + std::to_string(program) + "/status").c_str(), "r");
  char line[256];
  long peak = 0;
  while (file != nullptr && std::fgets(line, sizeof(line), file) != nullptr) {
    if (std::strncmp(line, "VmHWM:", 6) == 0) {
      peak = std::atol(line + 6);
    }
  }
  if (file != nullptr) {
    std::fclose(file);
  }
  return peak;
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc < 5) {
    std::fprintf(stderr, "Usage: %s CONNECTIONS REQUESTS DOMAINS PORT|PROGRAM...\n", argv[0]);
    return 2;
  }
  const int count = std::atoi(argv[1]);
  const int requests = std::atoi(argv[2]);
  const int domains = std::atoi(argv[3]);
  const int port = std::isdigit(static_cast<unsigned char>(argv[4][0])) ? std::atoi(argv[4]) : 0;
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);

  std::vector<Connection> connections;
  std::vector<pollfd> events;
  for (int i = 0; i < count; ++i) {
    connections.push_back(port != 0 ? ConnectTo(port) : Start(argv + 4));
    events.push_back({connections.back().descriptor, POLLIN, 0});
  }
  // The first answers, which programs need longer for as they start, do not count.
  int asked = 0;
  for (Connection& connection : connections) {
    Ask(connection, asked++, domains);
  }
  for (Connection& connection : connections) {
    while (!TakeAnswer(connection)) {
    }
    connection.answer.clear();
  }
  std::vector<double> times;
  long others = 0;
  const Clock::time_point start = Clock::now();
  const int last = asked + requests;
  for (Connection& connection : connections) {
    Ask(connection, asked++, domains);
  }
  std::size_t open = connections.size();
  while (open > 0) {
    if (poll(events.data(), events.size(), 120000) <= 0) {
      Fail("policy_load: no answer in two minutes");
    }
    for (std::size_t i = 0; i < events.size(); ++i) {
      if (events[i].revents == 0 || !TakeAnswer(connections[i])) {
        continue;
      }
      const auto now = Clock::now();
      times.push_back(
          std::chrono::duration<double, std::milli>(now - connections[i].asked).count());
      others += SaysPassed(connections[i].answer) ? 0 : 1;
      connections[i].answer.clear();
      if (asked < last) {
        Ask(connections[i], asked++, domains);
      } else {
        events[i].fd = -1;
        --open;
      }
    }
  }
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  std::sort(times.begin(), times.end());
  long largest = 0;
  long sum = 0;
  for (const Connection& connection : connections) {
    if (connection.program > 0) {
      const long peak = PeakMemory(connection.program);
      largest = std::max(largest, peak);
      sum += peak;
      kill(connection.program, SIGKILL);
      waitpid(connection.program, nullptr, 0);
    }
  }
  std::printf("%.0f\t%.2f\t%ld\t%ld\t%ld\n", static_cast<double>(times.size()) / seconds,
              times[times.size() * 99 / 100], others, largest, sum);
  return 0;
}
