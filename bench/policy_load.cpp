// Asks a policy service as Postfix does, on many connections at once. Each sends its next request
// after the answer to the one before:
//   policy_load CONNECTIONS REQUESTS DOMAINS PORT
//   policy_load CONNECTIONS REQUESTS DOMAINS PROGRAM [ARGUMENT...]
//
// PORT is on 127.0.0.1; a PROGRAM is started once for each connection, as Postfix's spawn does. The
// requests name DOMAINS domains in turn, each for another message. Prints, separated by tabs:
// requests a second, the 99th percentile of the time for an answer in milliseconds, the number of
// answers that do not say that the check passed, and for programs the memory of the largest one and
// of all, in KiB.

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
  std::string domain = "d";
  domain += std::to_string(number % domains) + ".bench.test";
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

// Returns the peak memory of a program, in KiB.
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

std::vector<Connection> Open(int count, int port, char* const command[]) {
  std::vector<Connection> connections;
  for (int i = 0; i < count; ++i) {
    connections.push_back(port != 0 ? ConnectTo(port) : Start(command));
  }
  return connections;
}

// Load sends requests on all connections and takes the times of the answers.
class Load {
 public:
  Load(std::vector<Connection>& connections, int domains)
      : m_connections(connections), m_domains(domains) {}

  // Asks once on each connection, since programs take longer for the first answer.
  void WarmUp() {
    for (Connection& connection : m_connections) {
      Ask(connection, m_asked++, m_domains);
    }
    for (Connection& connection : m_connections) {
      while (!TakeAnswer(connection)) {
      }
      connection.answer.clear();
    }
  }

  // Makes `requests` requests.
  void Run(int requests) {
    const Clock::time_point start = Clock::now();
    const int last = m_asked + requests;
    std::vector<pollfd> events;
    for (Connection& connection : m_connections) {
      Ask(connection, m_asked++, m_domains);
      events.push_back({connection.descriptor, POLLIN, 0});
    }
    for (std::size_t open = events.size(); open > 0;) {
      if (poll(events.data(), events.size(), 120000) <= 0) {
        Fail("policy_load: no answer in two minutes");
      }
      for (std::size_t i = 0; i < events.size(); ++i) {
        if (events[i].revents != 0 && TakeAnswer(m_connections[i]) && !Next(i, last)) {
          events[i].fd = -1;
          --open;
        }
      }
    }
    m_seconds = std::chrono::duration<double>(Clock::now() - start).count();
    std::sort(m_times.begin(), m_times.end());
  }

  double GetRate() const { return static_cast<double>(m_times.size()) / m_seconds; }

  // Returns the time in which 99 of 100 answers came, in milliseconds.
  double GetLateTime() const { return m_times[m_times.size() * 99 / 100]; }

  // Returns how many answers do not say that the check passed.
  long GetOthers() const { return m_others; }

 private:
  // Notes the answer of a connection and asks again. Returns false when the last request was made.
  bool Next(std::size_t i, int last) {
    Connection& connection = m_connections[i];
    m_times.push_back(
        std::chrono::duration<double, std::milli>(Clock::now() - connection.asked).count());
    m_others += SaysPassed(connection.answer) ? 0 : 1;
    connection.answer.clear();
    if (m_asked >= last) {
      return false;
    }
    Ask(connection, m_asked++, m_domains);
    return true;
  }

  std::vector<Connection>& m_connections;
  int m_domains;
  int m_asked = 0;
  std::vector<double> m_times;  // milliseconds
  double m_seconds = 0;
  long m_others = 0;
};

struct Memory {
  long largest = 0;
  long sum = 0;
};

// Ends all programs. Returns their peak memory.
Memory EndPrograms(const std::vector<Connection>& connections) {
  Memory memory;
  for (const Connection& connection : connections) {
    if (connection.program > 0) {
      const long peak = PeakMemory(connection.program);
      memory.largest = std::max(memory.largest, peak);
      memory.sum += peak;
      kill(connection.program, SIGKILL);
      waitpid(connection.program, nullptr, 0);
    }
  }
  return memory;
}

// Allows as many descriptors as possible.
void RaiseDescriptorLimit() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc < 5) {
    std::fprintf(stderr, "Usage: %s CONNECTIONS REQUESTS DOMAINS PORT|PROGRAM...\n", argv[0]);
    return 2;
  }
  RaiseDescriptorLimit();
  const int port = std::isdigit(static_cast<unsigned char>(argv[4][0])) ? std::atoi(argv[4]) : 0;
  std::vector<Connection> connections = Open(std::atoi(argv[1]), port, argv + 4);
  Load load(connections, std::atoi(argv[3]));
  load.WarmUp();
  load.Run(std::atoi(argv[2]));
  const Memory memory = EndPrograms(connections);
  std::printf("%.0f\t%.2f\t%ld\t%ld\t%ld\n", load.GetRate(), load.GetLateTime(), load.GetOthers(),
              memory.largest, memory.sum);
  return 0;
}
