// Ends a test that cannot be done on this machine.

#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

// Ends the process with status 77 after a line with the reason, by which ctest knows that the test
// is skipped and tests/support/TellSkipped why. A reason that is a right says "this machine
// forbids ...".
[[noreturn]] inline void Skip(const std::string& reason) {
  std::printf("Skipped: %s\n", reason.c_str());
  std::exit(77);
}
