// MaySendOptions has what the command line of spf-may-send asks for.
//
// A value type. ReadOptions() is for one thread at a time: getopt_long has process-wide state.

#pragma once

#include <chrono>
#include <optional>
#include <string>

struct MaySendOptions {
  enum class Action { kCheck, kHelp, kVersion };

  Action action = Action::kCheck;
  std::chrono::milliseconds timeLimit{20000};  // of the check, 1 ms to a day
  std::string server;                          // a dotted quad; empty: the system's
  std::optional<std::string> record;           // to evaluate instead of the published one
  bool isExplained = false;
  bool isQuiet = false;
  std::string address;  // unchecked, as is the sender
  std::string sender;
};

// Reads the arguments of main(). Options end at the first argument that is not one, so that text
// after the client's address, which a stranger may choose, is never taken for an option. Throws
// std::invalid_argument for wrong use, with a text for the user in printable ASCII.
MaySendOptions ReadOptions(int count, char* arguments[]);
