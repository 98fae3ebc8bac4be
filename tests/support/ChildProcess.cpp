#include "tests/support/ChildProcess.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "tests/support/TemporaryDirectory.h"

namespace {

constexpr unsigned int kLimitSeconds = 60;

void Redirect(int descriptor, const std::string& path) {
  dup2(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), descriptor);
}

}  // namespace

ChildResult RunChild(const std::string& program, const std::vector<std::string>& arguments,
                     const std::string& directory) {
  const TemporaryDirectory outputs;
  std::vector<char*> words;
  for (const std::string& argument : arguments) {
    words.push_back(const_cast<char*>(argument.c_str()));
  }
  words.push_back(nullptr);
  const std::string out = outputs.Path("out");
  const std::string err = outputs.Path("err");

  const pid_t child = fork();
  if (child < 0) {
    throw std::system_error(errno, std::generic_category(), "fork");
  }
  if (child == 0) {
    Redirect(STDOUT_FILENO, out);
    Redirect(STDERR_FILENO, err);
    alarm(kLimitSeconds);
    if (chdir(directory.c_str()) == 0) {
      execv(program.c_str(), words.data());
    }
    _exit(127);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  ChildResult result;
  result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  result.standardOutput = outputs.Read("out");
  result.standardError = outputs.Read("err");
  return result;
}
