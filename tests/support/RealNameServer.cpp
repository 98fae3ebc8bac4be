#include "tests/support/RealNameServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <utility>

#include "tests/support/PrivateNetwork.h"
#include "tests/support/Skip.h"

struct RealNameServer::Program {
  std::string path;
  std::vector<std::string> arguments;  // with which it stays in the foreground
  const char* address;                 // where it listens, on port 53
};

namespace {

constexpr unsigned int kLongestTest = 600;  // seconds

// A query for the SOA record of example.org (RFC 1035, section 4.1).
constexpr std::array<unsigned char, 29> kQuery = {0, 1,   0,   0,   0,   1,   0,   0,   0,   0,
                                                  0, 0,   7,   'e', 'x', 'a', 'm', 'p', 'l', 'e',
                                                  3, 'o', 'r', 'g', 0,   0,   6,   0,   1};

// Returns the program that scripts/test unpacked of the Debian package or, where there is none, the
// installed one.
std::string PathOf(const std::string& program, const std::string& package) {
  const std::string unpacked = UNPACKED_SERVERS "/" + package + "/usr/sbin/" + program;
  return access(unpacked.c_str(), X_OK) == 0 ? unpacked : "/usr/sbin/" + program;
}

// Returns whether a server at `address` answers within 10 s.
bool Answers(const char* address) {
  const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_in server{};
  server.sin_family = AF_INET;
  server.sin_port = htons(53);
  server.sin_addr.s_addr = inet_addr(address);
  bool answered = false;
  for (int attempt = 0; attempt < 1000 && !answered; ++attempt) {
    sendto(descriptor, kQuery.data(), kQuery.size(), 0, reinterpret_cast<const sockaddr*>(&server),
           sizeof(server));
    pollfd event{descriptor, POLLIN, 0};
    answered = poll(&event, 1, 10) > 0;
  }
  close(descriptor);
  return answered;
}

}  // namespace

RealNameServer::RealNameServer(Server server) {
  std::filesystem::create_directory_symlink(ZONE_DIRECTORY, m_directory.Path("zones"));
  if (server == Server::kUnbound) {
    Start(ProgramOf(Server::kNsd));
  }
  Start(ProgramOf(server));
  SetResolverFile(std::string("nameserver ") + ProgramOf(server).address + "\n");
}

RealNameServer::~RealNameServer() {
  for (const auto& process : m_processes) {
    process->Signal(SIGTERM);
    process->Wait();
  }
}

const RealNameServer::Program& RealNameServer::ProgramOf(Server server) {
  static const std::map<Server, Program> programs = {
      {Server::kNamed,
       {PathOf("named", "bind9"),
        {"named", "-g", "-n", "1", "-c", SERVER_DIRECTORY "/named.conf"},
        "127.0.0.1"}},
      {Server::kNsd,
       {PathOf("nsd", "nsd"), {"nsd", "-d", "-c", SERVER_DIRECTORY "/nsd.conf"}, "127.0.0.2"}},
      {Server::kUnbound,
       {PathOf("unbound", "unbound"),
        {"unbound", "-d", "-c", SERVER_DIRECTORY "/unbound.conf"},
        "127.0.0.1"}}};
  return programs.at(server);
}

void RealNameServer::Start(const Program& program) {
  if (access(program.path.c_str(), X_OK) < 0) {
    Skip(program.arguments.front() + " is missing");
  }
  auto process = std::make_unique<ChildProcess>(program.path, program.arguments, m_directory.Path(),
                                                kLongestTest);
  if (!Answers(program.address)) {
    process->Signal(SIGTERM);
    throw std::runtime_error(program.path + " does not answer: " + process->Wait().standardError +
                             m_directory.Read("log"));
  }
  m_processes.push_back(std::move(process));
}
