// Functions of the system's library as the tests of locks and threads want them: that fail on
// demand, are recorded, or are preceded by an action. All of it concerns the calls of one thread,
// the one that asks for it.

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

// Makes function, or its first so many calls, fail with code.
class FailureOf {
 public:
  FailureOf(const char* function, int code, int times = std::numeric_limits<int>::max());
  ~FailureOf();

  FailureOf(const FailureOf&) = delete;
  FailureOf& operator=(const FailureOf&) = delete;
};

// Runs action once, before the nth call of function.
class BeforeCall {
 public:
  BeforeCall(int nth, const char* function, std::function<void()> action);
  ~BeforeCall();

  BeforeCall(const BeforeCall&) = delete;
  BeforeCall& operator=(const BeforeCall&) = delete;

 private:
  std::function<void()> m_action;
};

// Stops the clock that gettimeofday reads.
class TimeOfDay {
 public:
  TimeOfDay(std::time_t seconds, suseconds_t microseconds);
  ~TimeOfDay();

  TimeOfDay(const TimeOfDay&) = delete;
  TimeOfDay& operator=(const TimeOfDay&) = delete;
};

// The deadline of the last sem_timedwait.
std::timespec LastDeadline();

// What the last sem_init was given.
struct SemaphoreArguments {
  int shared;
  unsigned int value;
};
SemaphoreArguments LastSemaphore();

// Whether the last pthread_rwlock_init was given attributes.
bool LastReadWriteLockHadAttributes();

// The functions that call comes to, in order, whether it throws a StdSystemException or not;
// without pthread_mutex_lock, which all the world calls.
std::vector<std::string> CallsOf(const std::function<void()>& call);

void ExpectThrown(const std::function<void()>& call, const std::string& text, int code);

// What comes of something that other threads do. Ends the process when they do not do it, since it
// would wait for them without limit otherwise.
template <typename T>
T ResultOf(std::future<T>& future) {
  if (future.wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
    std::cerr << "a thread does not end" << std::endl;
    std::abort();
  }
  return future.get();
}
