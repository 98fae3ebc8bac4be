// Runs the built program as a user would.

#pragma once

#include <string>
#include <vector>

struct Expected {
  std::string standardOutput;
  std::string standardError;
  std::string log;  // the content of log.txtcurrent.log, in a directory that was empty
  int status = 0;   // as in a shell: 128 and its number for a signal
};

// Expects this of a run of "spfcheck" with `arguments`.
void ExpectRun(const std::vector<std::string>& arguments, const Expected& expected);
