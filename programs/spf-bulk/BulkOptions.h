// BulkOptions has what the command line of spf-bulk asks for.
//
// A value type. ReadOptions() is for one thread at a time: getopt_long has process-wide state.

#pragma once

#include <chrono>
#include <optional>
#include <string>

struct BulkOptions {
  enum class Action { kRun, kHelp, kVersion };

  // Each look-up needs a descriptor below 1024; the others are for files.
  static constexpr unsigned kMostJobs = 900;

  Action action = Action::kRun;
  std::optional<std::string> input;   // nothing: standard input
  std::optional<std::string> output;  // nothing: standard output
  std::string errors = "spf-bulk.errors";
  bool isResumed = false;
  unsigned jobs = 64;                                // the most checks at once, 1 to kMostJobs
  std::chrono::milliseconds timeLimit{20000};        // of a check, 1 ms to a day
  std::optional<std::chrono::nanoseconds> interval;  // between the beginnings of two checks
  std::string server;                                // a dotted quad; empty: the system's
  std::optional<bool> showsProgress;                 // nothing: on a terminal only
};

// Reads the arguments of main(). Throws std::invalid_argument for wrong use, with a text for the
// user in printable ASCII.
BulkOptions ReadOptions(int count, char* arguments[]);
