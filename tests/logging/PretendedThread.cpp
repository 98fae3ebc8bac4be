#include "tests/logging/PretendedThread.h"

#include <threads.h>

namespace {

thread_local constinit pthread_t pretended = 0;  // 0 if there is none

}  // namespace

// Calls thrd_current(), which returns the same, because the sanitizers call this function before
// the real one can be looked up.
extern "C" pthread_t pthread_self() noexcept {
  return pretended != 0 ? pretended : thrd_current();
}

PretendedThread::PretendedThread(pthread_t number) {
  pretended = number;
}

PretendedThread::~PretendedThread() {
  pretended = 0;
}
