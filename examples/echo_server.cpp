// Echoes datagrams, and prints them, until SIGTERM or SIGINT:
//   echo_server PORT
//
// Build and run it where libfwk-dev is installed:
//   c++ -std=c++20 echo_server.cpp -o echo_server $(pkg-config --cflags --libs fwk)
//   ./echo_server 7007

#include <csignal>
#include <cstdio>
#include <exception>
#include <string>

#include "framework/Utilities/StringUtilities.h"
#include "framework/core/Exceptions.h"
#include "framework/net/UDPSocket.h"

namespace {

constexpr int kPollMs = 200;  // the longest delay of a signal

volatile std::sig_atomic_t stopped = 0;

// Returns whether `text` is a port. Listen would read "abc" as port 0, which means any port.
bool IsPort(const std::string& text) {
  const int port = text.size() <= 5 ? StringToIntOr(text, 0) : 0;
  return port >= 1 && port <= 65535;
}

void Stop(int /*signal*/) {
  stopped = 1;
}

// Calls Stop on `signal`, without SA_RESTART, so that the signal ends a wait.
void StopOn(int signal) {
  struct sigaction action {};
  action.sa_handler = Stop;
  sigaction(signal, &action, nullptr);
}

class EchoServer : public UDPSocket {
 public:
  EchoServer() : UDPSocket(0, 0) {}

  void Run() {
    while (stopped == 0) {
      try {
        Echo();
      } catch (const UDPSocketTimeoutException&) {  // nothing came: check for a signal
      } catch (const StdException& e) {
        if (stopped == 0) {
          std::fprintf(stderr, "echo_server: %s\n", e.what());
        }
      }
    }
  }

 private:
  void Echo() {
    SelectReadWrite(m_descriptor, true, kPollMs);
    UDPSocket reply(0, 0);
    Accept(reply, true);
    std::fflush(stdout);
  }
};

}  // namespace

int main(int argc, char* argv[]) {
  if (argc != 2 || !IsPort(argv[1])) {
    std::fprintf(stderr, "Usage: %s PORT\n", argv[0]);
    return 1;
  }
  StopOn(SIGTERM);
  StopOn(SIGINT);
  try {
    EchoServer server;
    server.Listen(argv[1]);
    server.Run();
  } catch (const std::exception& e) {
    std::fprintf(stderr, "echo_server: %s\n", e.what());
    return 1;
  }
  return 0;
}
