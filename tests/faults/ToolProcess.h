// The built program, started by a shell that first prepares a fault.

#pragma once

#include <string>
#include <vector>

#include "tests/end_to_end/ToolRun.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

class ToolProcess {
 public:
  // Has sh run `command` in an empty directory; "$@" in it is the program and its arguments.
  explicit ToolProcess(const std::vector<std::string>& arguments,
                       const std::string& command = "exec \"$@\"");

  // The same in `directory`.
  ToolProcess(const std::string& directory, const std::vector<std::string>& arguments,
              const std::string& command);

  void Signal(int signal) const { m_child.Signal(signal); }

  // Waits for its end, once, and compares all that it did.
  void ExpectEnd(const Expected& expected);

 private:
  TemporaryDirectory m_own;
  std::string m_directory;
  ChildProcess m_child;
};
