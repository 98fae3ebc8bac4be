// Lets functions of the C library fail, records their calls, or runs an action before them. Each
// request concerns only the calls of the thread that makes it.

#pragma once

#include <sys/time.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <future>
#include <iostream>
#include <limits>
#include <string>
#include <vector>

using Strings = std::vector<std::string>;

// Lets the first `times` calls of `function` fail with `code`.
class FailureOf {
 public:
  FailureOf(const char* function, int code, int times = std::numeric_limits<int>::max());
  ~FailureOf();

  FailureOf(const FailureOf&) = delete;
  FailureOf& operator=(const FailureOf&) = delete;
};

// Runs `action` once, before the `nth` call of `function`.
class BeforeCall {
 public:
  BeforeCall(int nth, const char* function, std::function<void()> action);
  ~BeforeCall();

  BeforeCall(const BeforeCall&) = delete;
  BeforeCall& operator=(const BeforeCall&) = delete;

 private:
  std::function<void()> m_action;
};

// Stops the clock that gettimeofday() reads.
class TimeOfDay {
 public:
  TimeOfDay(std::time_t seconds, suseconds_t microseconds);
  ~TimeOfDay();

  TimeOfDay(const TimeOfDay&) = delete;
  TimeOfDay& operator=(const TimeOfDay&) = delete;
};

// Returns the deadline that sem_timedwait() was last given.
std::timespec LastDeadline();

struct SemaphoreArguments {
  int shared;
  unsigned int value;
};
// Returns what sem_init() was last given.
SemaphoreArguments LastSemaphore();

// Returns whether pthread_rwlock_init() was last given attributes.
bool LastReadWriteLockHadAttributes();

// Returns the functions that `call` calls, in order, even if it throws a StdSystemException. Leaves
// out pthread_mutex_lock, which the C library calls too.
Strings CallsOf(const std::function<void()>& call);

// Expects that `call` throws a StdSystemException with this text and code.
void ExpectThrown(const std::function<void()>& call, const std::string& text, int code);

// Returns the result of another thread. Ends the process if there is none within 60 s, because the
// destructor of `future` would wait for it without limit.
template <typename T>
T ResultOf(std::future<T>& future) {
  if (future.wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
    std::cerr << "a thread does not end" << std::endl;
    std::abort();
  }
  return future.get();
}

template <typename T>
T ResultOf(std::promise<T>& promise) {
  std::future<T> future = promise.get_future();
  return ResultOf(future);
}
