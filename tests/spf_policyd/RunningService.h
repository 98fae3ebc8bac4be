// The built program as a child process, with a configuration and a log of its own.

#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/OwnMount.h"
#include "tests/support/TemporaryDirectory.h"

// The program's surroundings: an empty /etc with its configuration file, and a directory for its
// log. The name server is 127.0.0.1.
class ServiceFiles {
 public:
  explicit ServiceFiles(const std::string& settings);

  // Writes the configuration: where the log is, then `settings`, lines "key=value".
  void Configure(const std::string& settings) const;

  // Returns the lines of the log so far, without date and time, and with "0 ms" for each time.
  std::vector<std::string> Log() const;

  // Returns how many lines of the log contain `text`.
  std::size_t Count(const std::string& text) const;

  std::string LogDirectory() const { return m_log.Path() + "/"; }

 private:
  OwnMount m_etc{"/etc"};
  TemporaryDirectory m_log;
};

// Runs the program until it ends by itself.
ChildResult RunService(const std::vector<std::string>& arguments);

class RunningService {
 public:
  // Starts it with `settings` and waits until it is ready.
  explicit RunningService(const std::string& settings = "trial=0\n");

  // The same, by `command` of sh, in which "$0" is the program.
  RunningService(const std::string& settings, const std::string& command);

  const ServiceFiles& Files() const { return m_files; }
  pid_t GetId() const { return m_child->GetId(); }
  void Signal(int signal) const { m_child->Signal(signal); }

  // Changes its settings, and waits until it has read or refused them.
  void Reload(const std::string& settings) const;

  // Returns the number in a line of /proc/PID/status, such as "VmRSS", kilobytes, or "Threads".
  long Status(const std::string& name) const;

  // Waits for its end.
  ChildResult Wait() { return m_child->Wait(); }

  // Ends it by SIGTERM, and expects that it printed nothing.
  void ExpectGoodEnd();

 private:
  void WaitUntilReady() const;

  ServiceFiles m_files;
  std::unique_ptr<ChildProcess> m_child;
};
