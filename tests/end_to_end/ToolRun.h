// One run of the built program, as a user would start it, compared whole.

#pragma once

#include <string>
#include <vector>

struct Expected {
  std::string standardOutput;
  std::string standardError;
  std::string log;  // what log.txtcurrent.log holds afterwards, in a directory that was empty
  int status = 0;   // as a shell tells it: 128 and its number for a signal
};

// arguments: those behind the program's name, which is "spfcheck".
void ExpectRun(const std::vector<std::string>& arguments, const Expected& expected);
