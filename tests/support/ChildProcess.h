// A program that runs as a user would start it, and all that it did.

#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "tests/support/TemporaryDirectory.h"

struct ChildResult {
  int exitStatus = -1;  // -1 when a signal ended it
  int signal = 0;       // 0 when it ended by itself
  std::string standardOutput;
  std::string standardError;
};

class ChildProcess {
 public:
  // Starts `program` in `directory`; the first argument is its name. SIGALRM ends it after
  // `seconds`, and SIGKILL with the calling thread. Throws std::system_error if there is no
  // process.
  ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
               const std::string& directory, unsigned int seconds = 60);
  ~ChildProcess();  // kills it if it was not waited for

  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  void Signal(int signal) const;

  pid_t GetId() const { return m_process; }

  // Waits for its end, once.
  ChildResult Wait();

 private:
  TemporaryDirectory m_outputs;
  pid_t m_process;
};

// Runs a program to its end.
ChildResult RunChild(const std::string& program, const std::vector<std::string>& arguments,
                     const std::string& directory);
