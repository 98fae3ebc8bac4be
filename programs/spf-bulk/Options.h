// Options has what the command line of spf-bulk asks for.
//
// A value type. Only one thread at a time may make one: getopt_long has process-wide state.

#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

class Options {
 public:
  enum class Action { kRun, kHelp, kVersion };

  // Each look-up needs a descriptor below 1024; the others are for files.
  static constexpr unsigned kMostJobs = 900;

  // Reads the arguments of main(). Throws std::invalid_argument for wrong use, with a text for the
  // user in printable ASCII.
  Options(int count, char* arguments[]);

  Action GetAction() const { return m_action; }

  // Return the paths of input and output; nothing for standard input and standard output.
  const std::optional<std::string>& GetInput() const { return m_input; }
  const std::optional<std::string>& GetOutput() const { return m_output; }

  const std::string& GetErrors() const { return m_errors; }

  bool IsResumed() const { return m_isResumed; }

  // Returns the most checks at once, 1 to kMostJobs.
  unsigned GetJobs() const { return m_jobs; }

  // Returns how long a check may take, 1 ms to a day.
  std::chrono::milliseconds GetTimeLimit() const { return m_timeLimit; }

  // Returns the time between the beginnings of two checks; nothing if the rate is unlimited.
  const std::optional<std::chrono::nanoseconds>& GetInterval() const { return m_interval; }

  // Returns the name server to ask, a dotted quad; empty for the system's.
  const std::string& GetServer() const { return m_server; }

  // Returns whether to show the progress; nothing: on a terminal only.
  const std::optional<bool>& GetProgress() const { return m_progress; }

 private:
  void TakeOption(int option, const char* word);
  void TakeJobs(const std::string& value);
  void TakeRate(const std::string& value);
  void TakeArguments(const std::vector<std::string>& arguments);

  Action m_action = Action::kRun;
  std::optional<std::string> m_input;
  std::optional<std::string> m_output;
  std::string m_errors = "spf-bulk.errors";
  bool m_isResumed = false;
  unsigned m_jobs = 64;
  std::chrono::milliseconds m_timeLimit{20000};
  std::optional<std::chrono::nanoseconds> m_interval;
  std::string m_server;
  std::optional<bool> m_progress;
};
