// A program that did not end well: the lock that semaphores share was gone before a static
// semaphore that a thread still waited for. It ends with status 0.

#include <sched.h>

#include <thread>

#include "framework/core/WaitSemaphore.h"

namespace {

WaitSemaphore semaphore;

}  // namespace

int main() {
  std::thread([] { semaphore.Wait(); }).detach();
  while (semaphore.GetWaiterCount() == 0) {
    sched_yield();
  }
  return 0;
}
