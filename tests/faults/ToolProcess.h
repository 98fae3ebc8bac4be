// The built program running in a shell that first makes it meet a fault; compared whole at its end.

#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "tests/end_to_end/ToolRun.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

class ToolProcess {
 public:
  // Starts command in an empty directory. command: what sh runs, with "$@" for the program and its
  // arguments.
  explicit ToolProcess(const std::vector<std::string>& arguments,
                       const std::string& command = "exec \"$@\"");

  // The same in a directory of the caller's.
  ToolProcess(const std::string& directory, const std::vector<std::string>& arguments,
              const std::string& command);

  void Signal(int signal) const;

  // Waits for its end, once, and compares all that it did.
  void ExpectEnd(const Expected& expected);

 private:
  TemporaryDirectory m_own;
  std::string m_directory;
  ChildProcess m_child;
};
