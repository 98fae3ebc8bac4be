#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

// Ends the process with status 77 after a line with the reason, by which ctest knows a test that
// cannot be done on this machine. "this machine forbids ..." is a right that is refused, the only
// reason that continuous integration accepts.
[[noreturn]] inline void Skip(const std::string& reason) {
  std::printf("Skipped: %s\n", reason.c_str());
  std::exit(77);
}
