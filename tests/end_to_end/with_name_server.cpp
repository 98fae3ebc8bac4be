// Runs a command in a private network in which the name server of /etc/resolv.conf is an nsd with
// the zones of this folder; ends with the command's status:
//   with_name_server COMMAND [ARGUMENT...]

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>

#include "tests/end_to_end/NameServer.h"
#include "tests/support/PrivateNetwork.h"

namespace {

// As a shell tells it: 128 and its number for a signal.
int Run(char* command[]) {
  const pid_t child = fork();
  if (child == 0) {
    execvp(command[0], command);
    std::perror(command[0]);
    _exit(127);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) {
    std::perror("with_name_server");
    return 126;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc < 2) {
    std::fputs("Usage: with_name_server COMMAND [ARGUMENT...]\n", stderr);
    return 126;
  }
  try {
    EnterPrivateNetwork(argv);
    const NameServer server(Server::kNsd);
    return Run(argv + 1);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "with_name_server: %s\n", e.what());
    return 126;
  }
}
