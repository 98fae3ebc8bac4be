#include "tests/logging/LogThread.h"

#include <pthread.h>
#include <sched.h>

#include <cerrno>

#include "tests/support/RealFunction.h"

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*start)(void*), void* argument) noexcept {
  static const auto real = RealFunction(&pthread_create, "pthread_create");
  if (creationFailure != 0) {
    return creationFailure;
  }
  int inherited = -1;
  if (attributes != nullptr) {
    pthread_attr_getinheritsched(attributes, &inherited);
  }
  inheritedScheduling = inherited;
  ++threadsCreated;
  return real(thread, attributes, start, argument);
}

extern "C" int pthread_rwlock_wrlock(pthread_rwlock_t* lock) noexcept {
  static const auto real = RealFunction(&pthread_rwlock_wrlock, "pthread_rwlock_wrlock");
  beforeWriteLock.Call();
  return writeLocksFail && !writeLocksWorkHere ? EDEADLK : real(lock);
}

extern "C" int pthread_rwlock_rdlock(pthread_rwlock_t* lock) noexcept {
  static const auto real = RealFunction(&pthread_rwlock_rdlock, "pthread_rwlock_rdlock");
  beforeReadLock.Call();
  return real(lock);
}

extern "C" int sched_yield() noexcept {
  static const auto real = RealFunction(&sched_yield, "sched_yield");
  ++yields;
  beforeYield.Call();
  return real();
}
