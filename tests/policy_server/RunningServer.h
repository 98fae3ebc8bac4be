// The built program as a child process, in a directory of its own.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

// The program's run with these arguments, in an empty directory.
ChildResult RunPolicyServer(const std::vector<std::string>& arguments);

class RunningServer {
 public:
  static constexpr char kPort[] = "10040";

  // Starts it with these arguments behind the port, and waits until it listens.
  explicit RunningServer(const std::vector<std::string>& arguments = {});

  void Signal(int signal) const { m_child.Signal(signal); }

  // Waits for its end.
  ChildResult Wait() { return m_child.Wait(); }

  // Ends it by SIGTERM.
  ChildResult Stop();

  const TemporaryDirectory& Directory() const { return m_directory; }

  // The lines of its log in that directory as they stand now, each from its level word on, with
  // "(0)" in place of a decision's time and of a peer's address and port.
  std::vector<std::string> Log() const;

  // Wait, at most 10 s, until a line of the log holds text, and until it has so many lines.
  bool WaitForLog(const std::string& text) const;
  bool WaitForLines(std::size_t count) const;

 private:
  TemporaryDirectory m_directory;
  ChildProcess m_child;
};
