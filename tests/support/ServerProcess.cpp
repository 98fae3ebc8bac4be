#include "tests/support/ServerProcess.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "tests/support/Waiting.h"

namespace {

constexpr int kStartAttempts = 1000;
constexpr int kStartAttemptMs = 10;

// The SOA record of example.org is asked for (RFC 1035, section 4.1).
constexpr std::array<unsigned char, 29> kQuery = {0, 1,   0,   0,   0,   1,   0,   0,   0,   0,
                                                  0, 0,   7,   'e', 'x', 'a', 'm', 'p', 'l', 'e',
                                                  3, 'o', 'r', 'g', 0,   0,   6,   0,   1};

// Starts program in directory, its output in the file log there.
pid_t Start(const ServerProgram& program, const TemporaryDirectory& directory) {
  std::filesystem::create_directory_symlink(ZONE_DIRECTORY, directory.Path("zones"));
  std::vector<char*> words;
  for (const char* argument : program.arguments) {
    words.push_back(const_cast<char*>(argument));
  }
  words.push_back(nullptr);

  const pid_t child = fork();
  if (child < 0) {
    throw std::system_error(errno, std::generic_category(), "fork");
  }
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (chdir(directory.Path().c_str()) == 0) {
      const int log = open("log", O_WRONLY | O_CREAT | O_APPEND, 0600);
      dup2(log, STDOUT_FILENO);
      dup2(log, STDERR_FILENO);
      execv(program.path.c_str(), words.data());
    }
    _exit(127);
  }
  return child;
}

}  // namespace

ServerProcess::ServerProcess(const ServerProgram& program)
    : m_process(Start(program, m_directory)) {
  if (!WaitForAnswer(program.address)) {
    Stop();
    throw std::runtime_error(program.path + " does not answer: " + m_directory.Read("log"));
  }
}

ServerProcess::~ServerProcess() {
  Stop();
}

bool ServerProcess::WaitForAnswer(const char* address) const {
  const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_in server{};
  server.sin_family = AF_INET;
  server.sin_port = htons(53);
  server.sin_addr.s_addr = inet_addr(address);
  bool answered = false;
  for (int attempt = 0; attempt < kStartAttempts && !answered && !HasEnded(); ++attempt) {
    sendto(descriptor, kQuery.data(), kQuery.size(), 0, reinterpret_cast<const sockaddr*>(&server),
           sizeof(server));
    pollfd event{descriptor, POLLIN, 0};
    answered = poll(&event, 1, kStartAttemptMs) > 0;
  }
  close(descriptor);
  return answered;
}

bool ServerProcess::HasEnded() const {
  siginfo_t info{};
  waitid(P_PID, static_cast<id_t>(m_process), &info, WEXITED | WNOHANG | WNOWAIT);
  return info.si_pid != 0;
}

void ServerProcess::Stop() const {
  kill(m_process, SIGTERM);
  ComesTrue([this] { return HasEnded(); });
  kill(m_process, SIGKILL);
  waitpid(m_process, nullptr, 0);
}
