// Ends a test that cannot be done on this machine.

#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

// Ends the process with status 77 after a line with the reason, by which ctest knows that the test
// is skipped. A right that is missing is "this machine forbids ...", the only reason that
// continuous integration takes.
[[noreturn]] inline void Skip(const std::string& reason) {
  std::printf("Skipped: %s\n", reason.c_str());
  std::exit(77);
}
