#include "tests/end_to_end/NsdServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <sstream>
#include <stdexcept>

namespace {

constexpr int kAttempts = 200;
constexpr int kAttemptMs = 50;

// The SOA record of example.org is asked for (RFC 1035, section 4.1).
constexpr std::array<unsigned char, 29> kQuery = {0, 1,   0,   0,   0,   1,   0,   0,   0,   0,
                                                  0, 0,   7,   'e', 'x', 'a', 'm', 'p', 'l', 'e',
                                                  3, 'o', 'r', 'g', 0,   0,   6,   0,   1};

pid_t Start(const std::string& configuration) {
  const pid_t child = fork();
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    execl(NSD_PROGRAM, "nsd", "-d", "-c", configuration.c_str(), nullptr);
    _exit(127);
  }
  return child;
}

}  // namespace

NsdServer::NsdServer() {
  WriteConfiguration();
  m_process = Start(m_directory.Path("nsd.conf"));
  if (m_process < 0 || !WaitForAnswer()) {
    throw std::runtime_error("nsd does not answer: " + m_directory.Read("nsd.log"));
  }
}

NsdServer::~NsdServer() {
  kill(m_process, SIGTERM);
  waitpid(m_process, nullptr, 0);
}

void NsdServer::WriteConfiguration() const {
  std::ostringstream text;
  text << "server:\n"
          "  ip-address: 127.0.0.1\n"
          "  username: \"\"\n"
          "  pidfile: \"\"\n"
          "  database: \"\"\n"
          "  rrl-ratelimit: 0\n"
       << "  zonesdir: \"" << ZONE_DIRECTORY << "\"\n"
       << "  logfile: \"" << m_directory.Path("nsd.log") << "\"\n"
       << "  xfrdfile: \"" << m_directory.Path("xfrd.state") << "\"\n"
       << "  xfrdir: \"" << m_directory.Path() << "\"\n"
       << "  zonelistfile: \"" << m_directory.Path("zone.list") << "\"\n"
       << "remote-control:\n"
          "  control-enable: no\n";
  for (const char* zone : {"example.org", "lists.test", "x.test"}) {
    text << "zone:\n  name: " << zone << "\n  zonefile: " << zone << ".zone\n";
  }
  m_directory.Write("nsd.conf", text.str());
}

bool NsdServer::WaitForAnswer() const {
  const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_in server{};
  server.sin_family = AF_INET;
  server.sin_port = htons(53);
  server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bool answered = false;
  for (int attempt = 0; attempt < kAttempts && !answered; ++attempt) {
    sendto(descriptor, kQuery.data(), kQuery.size(), 0, reinterpret_cast<const sockaddr*>(&server),
           sizeof(server));
    pollfd event{descriptor, POLLIN, 0};
    answered = poll(&event, 1, kAttemptMs) > 0;
  }
  close(descriptor);
  return answered;
}
