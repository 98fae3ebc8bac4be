#include "tests/core/FailingPthread.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>

#include <cerrno>
#include <string_view>
#include <utility>

#include "framework/core/Exceptions.h"
#include "tests/support/RealFunction.h"

namespace {

struct Failure {
  const char* function = nullptr;
  int code = 0;
  int left = 0;
};

struct Action {
  const char* function = nullptr;
  int left = 0;
  const std::function<void()>* run = nullptr;
};

thread_local constinit Failure failing;
thread_local constinit Action pending;
thread_local constinit Strings* recordedCalls = nullptr;
thread_local constinit timeval fixedTime{};
thread_local constinit bool timeIsFixed = false;
thread_local constinit timespec lastDeadline{};
thread_local constinit SemaphoreArguments lastSemaphore{.shared = -1, .value = 0};
thread_local constinit bool lastReadWriteLockHadAttributes = true;

void RunAction(const char* function) noexcept {
  if (pending.function != nullptr && std::string_view(pending.function) == function &&
      --pending.left == 0) {
    pending.function = nullptr;
    (*pending.run)();
  }
}

// Returns the code to fail with, or 0 to go on to the real function.
int TakeFailure(const char* function) noexcept {
  const bool fails = failing.function != nullptr &&
                     std::string_view(failing.function) == function && failing.left > 0;
  if (!fails) {
    return 0;
  }
  --failing.left;
  return failing.code;
}

// Records a call; returns the same as TakeFailure().
int Intercept(const char* function) noexcept {
  if (recordedCalls != nullptr) {
    recordedCalls->emplace_back(function);
  }
  RunAction(function);
  return TakeFailure(function);
}

int FailWith(int code) noexcept {
  errno = code;
  return -1;
}

}  // namespace

// Replaces a function that returns its error code.
#define INTERPOSE(name, parameters, arguments)             \
  extern "C" int name parameters {                         \
    static const auto real = RealFunction(&(name), #name); \
    const int failure = Intercept(#name);                  \
    return failure != 0 ? failure : real arguments;        \
  }

// Replaces a function that returns -1 and sets errno.
#define INTERPOSE_ERRNO(name, parameters, arguments)          \
  extern "C" int name parameters {                            \
    static const auto real = RealFunction(&(name), #name);    \
    const int failure = Intercept(#name);                     \
    return failure != 0 ? FailWith(failure) : real arguments; \
  }

INTERPOSE(pthread_mutexattr_init, (pthread_mutexattr_t * attributes) noexcept, (attributes))
INTERPOSE(pthread_mutexattr_settype, (pthread_mutexattr_t * attributes, int type) noexcept,
          (attributes, type))
INTERPOSE(pthread_mutexattr_destroy, (pthread_mutexattr_t * attributes) noexcept, (attributes))
INTERPOSE(pthread_mutex_init,
          (pthread_mutex_t * mutex, const pthread_mutexattr_t* attributes) noexcept,
          (mutex, attributes))
INTERPOSE(pthread_mutex_destroy, (pthread_mutex_t * mutex) noexcept, (mutex))
INTERPOSE(pthread_rwlock_destroy, (pthread_rwlock_t * lock) noexcept, (lock))
INTERPOSE(pthread_rwlock_rdlock, (pthread_rwlock_t * lock) noexcept, (lock))
INTERPOSE(pthread_rwlock_wrlock, (pthread_rwlock_t * lock) noexcept, (lock))
INTERPOSE(pthread_rwlock_unlock, (pthread_rwlock_t * lock) noexcept, (lock))

INTERPOSE(pthread_attr_init, (pthread_attr_t * attributes) noexcept, (attributes))
INTERPOSE(pthread_attr_destroy, (pthread_attr_t * attributes) noexcept, (attributes))
INTERPOSE(pthread_attr_getschedpolicy, (const pthread_attr_t* attributes, int* policy) noexcept,
          (attributes, policy))
INTERPOSE(pthread_attr_setschedpolicy, (pthread_attr_t * attributes, int policy) noexcept,
          (attributes, policy))
INTERPOSE(pthread_attr_getschedparam,
          (const pthread_attr_t* attributes, sched_param* parameters) noexcept,
          (attributes, parameters))
INTERPOSE(pthread_attr_setschedparam,
          (pthread_attr_t * attributes, const sched_param* parameters) noexcept,
          (attributes, parameters))
INTERPOSE(pthread_attr_setinheritsched, (pthread_attr_t * attributes, int inherit) noexcept,
          (attributes, inherit))
INTERPOSE(sched_get_priority_min, (int policy) noexcept, (policy))
INTERPOSE(sched_get_priority_max, (int policy) noexcept, (policy))
INTERPOSE(sched_yield, () noexcept, ())
INTERPOSE(pthread_create,
          (pthread_t * thread, const pthread_attr_t* attributes, void* (*start)(void*),
           void* argument) noexcept,
          (thread, attributes, start, argument))
INTERPOSE(pthread_detach, (pthread_t thread) noexcept, (thread))
INTERPOSE(pthread_join, (pthread_t thread, void** result), (thread, result))

INTERPOSE_ERRNO(sem_destroy, (sem_t * semaphore) noexcept, (semaphore))
INTERPOSE_ERRNO(sem_post, (sem_t * semaphore) noexcept, (semaphore))
INTERPOSE_ERRNO(sem_wait, (sem_t * semaphore), (semaphore))

extern "C" int pthread_rwlock_init(pthread_rwlock_t* lock,
                                   const pthread_rwlockattr_t* attributes) noexcept {
  static const auto real = RealFunction(&pthread_rwlock_init, "pthread_rwlock_init");
  lastReadWriteLockHadAttributes = attributes != nullptr;
  const int failure = Intercept("pthread_rwlock_init");
  return failure != 0 ? failure : real(lock, attributes);
}

extern "C" int sem_init(sem_t* semaphore, int shared, unsigned int value) noexcept {
  static const auto real = RealFunction(&sem_init, "sem_init");
  lastSemaphore = {.shared = shared, .value = value};
  const int failure = Intercept("sem_init");
  return failure != 0 ? FailWith(failure) : real(semaphore, shared, value);
}

extern "C" int sem_timedwait(sem_t* semaphore, const timespec* deadline) {
  static const auto real = RealFunction(&sem_timedwait, "sem_timedwait");
  lastDeadline = *deadline;
  const int failure = Intercept("sem_timedwait");
  return failure != 0 ? FailWith(failure) : real(semaphore, deadline);
}

extern "C" int gettimeofday(timeval* now, void* zone) noexcept {
  static const auto real = RealFunction(&gettimeofday, "gettimeofday");
  if (timeIsFixed) {
    *now = fixedTime;
    return 0;
  }
  return real(now, zone);
}

extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  static const auto real = RealFunction(&pthread_mutex_lock, "pthread_mutex_lock");
  RunAction("pthread_mutex_lock");
  const int failure = TakeFailure("pthread_mutex_lock");
  return failure != 0 ? failure : real(mutex);
}

// Looks up pthread_attr_destroy early: the thread sanitizer calls it at the start of a thread,
// where it cannot be looked up yet.
[[maybe_unused]] const bool isLookedUp = [] {
  pthread_attr_t attributes;
  return pthread_attr_init(&attributes) == 0 && pthread_attr_destroy(&attributes) == 0;
}();

// The tests misuse locks on purpose, so the thread sanitizer reports only races.
extern "C" const char* __tsan_default_options();
extern "C" const char* __tsan_default_options() {
  return "report_mutex_bugs=0:report_destroy_locked=0:detect_deadlocks=0";
}

FailureOf::FailureOf(const char* function, int code, int times) {
  failing = {.function = function, .code = code, .left = times};
}

FailureOf::~FailureOf() {
  failing = {};
}

BeforeCall::BeforeCall(int nth, const char* function, std::function<void()> action)
    : m_action(std::move(action)) {
  pending = {.function = function, .left = nth, .run = &m_action};
}

BeforeCall::~BeforeCall() {
  pending = {};
}

TimeOfDay::TimeOfDay(std::time_t seconds, suseconds_t microseconds) {
  fixedTime = {.tv_sec = seconds, .tv_usec = microseconds};
  timeIsFixed = true;
}

TimeOfDay::~TimeOfDay() {
  timeIsFixed = false;
}

std::timespec LastDeadline() {
  return lastDeadline;
}

SemaphoreArguments LastSemaphore() {
  return lastSemaphore;
}

bool LastReadWriteLockHadAttributes() {
  return lastReadWriteLockHadAttributes;
}

Strings CallsOf(const std::function<void()>& call) {
  Strings calls;
  recordedCalls = &calls;
  try {
    call();
  } catch (const StdSystemException&) {
  }
  recordedCalls = nullptr;
  return calls;
}

void ExpectThrown(const std::function<void()>& call, const std::string& text, int code) {
  try {
    call();
    ADD_FAILURE() << "nothing was thrown; expected " << text;
  } catch (const StdSystemException& exception) {
    EXPECT_EQ(exception.what(), text);
    EXPECT_EQ(exception.GetCode(), code);
  }
}
