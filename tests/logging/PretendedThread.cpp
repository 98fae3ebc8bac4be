#include "tests/logging/PretendedThread.h"

#include <threads.h>

namespace {

thread_local constinit pthread_t pretended = 0;  // 0: nothing

}  // namespace

// The sanitizers call this one before anything can be looked up; thrd_current() gives the same.
extern "C" pthread_t pthread_self() noexcept {
  return pretended != 0 ? pretended : thrd_current();
}

PretendedThread::PretendedThread(pthread_t number) {
  pretended = number;
}

PretendedThread::~PretendedThread() {
  pretended = 0;
}
