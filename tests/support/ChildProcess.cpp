#include "tests/support/ChildProcess.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

namespace {

void Redirect(int descriptor, const std::string& path) {
  dup2(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600), descriptor);
}

}  // namespace

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                           const std::string& directory, unsigned int seconds) {
  std::vector<char*> words;
  for (const std::string& argument : arguments) {
    words.push_back(const_cast<char*>(argument.c_str()));
  }
  words.push_back(nullptr);
  const std::string out = m_outputs.Path("out");
  const std::string err = m_outputs.Path("err");

  m_process = fork();
  if (m_process < 0) {
    throw std::system_error(errno, std::generic_category(), "fork");
  }
  if (m_process == 0) {
    Redirect(STDOUT_FILENO, out);
    Redirect(STDERR_FILENO, err);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    alarm(seconds);
    if (chdir(directory.c_str()) == 0) {
      execv(program.c_str(), words.data());
    }
    _exit(127);
  }
}

ChildProcess::~ChildProcess() {
  if (m_process > 0) {
    kill(m_process, SIGKILL);
    waitpid(m_process, nullptr, 0);
  }
}

void ChildProcess::Signal(int signal) const {
  kill(m_process, signal);
}

ChildResult ChildProcess::Wait() {
  int status = 0;
  while (waitpid(m_process, &status, 0) < 0 && errno == EINTR) {
  }
  m_process = 0;
  ChildResult result;
  result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  result.standardOutput = m_outputs.Read("out");
  result.standardError = m_outputs.Read("err");
  return result;
}

ChildResult RunChild(const std::string& program, const std::vector<std::string>& arguments,
                     const std::string& directory) {
  return ChildProcess(program, arguments, directory).Wait();
}
