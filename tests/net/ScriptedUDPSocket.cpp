#include "tests/net/ScriptedUDPSocket.h"

#include "tests/support/RealFunction.h"

extern "C" int select(int count, fd_set* reading, fd_set* writing, fd_set* exceptional,
                      timeval* timeout) {
  static const auto real = RealFunction(&select, "select");
  return ScriptedWaits::active != nullptr
             ? ScriptedWaits::active->Take(count, reading, writing, timeout)
             : real(count, reading, writing, exceptional, timeout);
}
