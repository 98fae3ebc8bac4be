#include "tests/endurance/ScriptedServerProcess.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

namespace {

// Tells through pipe when it listens, and serves until it is ended, at the latest with its parent.
[[noreturn]] void Serve(const ScriptedNameServer::Zone& zone, int pipe) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  try {
    const ScriptedNameServer server(zone);
    const char listening = '\n';
    if (write(pipe, &listening, 1) == 1) {
      pause();
    }
  } catch (...) {  // the parent reads nothing, and tells
  }
  _exit(1);
}

}  // namespace

ScriptedServerProcess::ScriptedServerProcess(const ScriptedNameServer::Zone& zone) {
  int ends[2];
  if (pipe(ends) < 0 || (m_process = fork()) < 0) {
    throw std::runtime_error("no process for the name server");
  }
  if (m_process == 0) {
    Serve(zone, ends[1]);
  }
  close(ends[1]);
  char listening = 0;
  const bool started = read(ends[0], &listening, 1) == 1;
  close(ends[0]);
  if (!started) {
    throw std::runtime_error("the name server did not start");
  }
}

ScriptedServerProcess::~ScriptedServerProcess() {
  kill(m_process, SIGKILL);
  waitpid(m_process, nullptr, 0);
}
