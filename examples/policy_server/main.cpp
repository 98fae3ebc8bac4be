// A policy service for Postfix: refuses mail that the sender's domain does not want from the
// client's address (PolicyDecision.h).
//   policy_server PORT [LOG]
//
// Built and run where libfwk-dev is installed:
//   c++ -std=c++20 -I../.. *.cpp -o policy_server $(pkg-config --cflags --libs spf)
//   ./policy_server 10040
//
// Listens on 127.0.0.1 and logs to LOGcurrent.log, "policy_server-current.log" in the working
// directory without LOG. SIGTERM and SIGINT end it: it answers what it is deciding on and closes
// its connections. A second signal ends it at once.
//
// Each connection has a thread, which needs more than 1 MiB of stack (StringFormat): mind
// `ulimit -s`. PolicyServer::kMaxConnections of them are served at once; Postfix opens no more than
// its default_process_limit.
//
// docs/embedding.md has the lines for Postfix's main.cf.

#include <pthread.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <thread>

#include "examples/policy_server/PolicyServer.h"
#include "framework/Utilities/StringUtilities.h"
#include "framework/logging/Logger.h"

namespace {

bool IsPort(const std::string& text) {
  const int port = text.size() <= 5 ? StringToIntOr(text, 0) : 0;
  return port >= 1 && port <= 65535;
}

// The signals that end the program. As long as they are blocked, in all threads that are started
// then, too, they wait to be asked for.
sigset_t BlockSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

void ServeUntilASignal(const std::string& port) {
  const sigset_t signals = BlockSignals();
  PolicyServer server(port);
  fwk::Logger::StartAsync();
  server.StartObjectThread(false, -1);
  fwk::Logger::Log(fwk::Info, "policy_server listens on 127.0.0.1:%s", port.c_str());
  int signal = 0;
  sigwait(&signals, &signal);
  fwk::Logger::Log(fwk::Info, "policy_server ends on signal %d", signal);
  pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc < 2 || argc > 3 || !IsPort(argv[1])) {
    std::fprintf(stderr, "Usage: %s PORT [LOG]\n", argv[0]);
    return 1;
  }
  fwk::Logger::Init(argc == 3 ? argv[2] : "policy_server-", fwk::Info, true, true);
  try {
    ServeUntilASignal(argv[1]);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "policy_server: %s\n", e.what());
    return 1;
  }
  // The end of the program drops lines that are not written yet.
  std::this_thread::sleep_for(std::chrono::seconds(2));
  return 0;
}
