// One process of a real name server, which serves the zones beside it.

#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "tests/support/TemporaryDirectory.h"

struct ServerProgram {
  std::string path;
  std::vector<const char*> arguments;  // with which it stays in the foreground
  const char* address;                 // where it listens, on port 53
};

class ServerProcess {
 public:
  // Starts the program in a directory of its own, with the zones in zones/ and its output in the
  // file log, and waits until it answers, at most 10 s. Throws std::runtime_error with its log when
  // it does not.
  explicit ServerProcess(const ServerProgram& program);
  ~ServerProcess();

  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

 private:
  bool WaitForAnswer(const char* address) const;
  bool HasEnded() const;
  void Stop() const;

  TemporaryDirectory m_directory;
  pid_t m_process;
};
