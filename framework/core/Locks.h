// The locks of the framework: POSIX mutexes and read/write locks whose every call is checked.
//
// MutexInstance and MutexReadWriteInstance are the locks, long-lived members or statics. Mutex,
// MutexRead and MutexWrite are guards: they lock in their constructor and unlock in their
// destructor, so they live on the stack of one thread and never outlive their lock. Any thread may
// lock; only the thread that locked may unlock.
//
// Locking blocks without limit. Every failed call throws a StdSystemException whose text is the
// POSIX function's name, " returned " and the code, and whose code is that number; a constructor
// that throws leaves nothing locked. The destructors throw, too: a mutex destroyed while it is held
// does not go unnoticed. During the unwinding of another exception, or of a static at the end of
// the process, that ends the process.

#pragma once

#include <pthread.h>

#include "framework/core/Export.h"
#include "framework/core/ThreadAnnotations.h"

// A mutex.
class FWK_EXPORT FWK_CAPABILITY("mutex") MutexInstance {
 public:
  // type: as pthread_mutexattr_settype takes it. The framework's own mutexes are all
  // PTHREAD_MUTEX_RECURSIVE: a thread may lock again what it holds, and unlocks as many times.
  // A failed attribute initialisation is reported as "pthread_mutexm_attr_init", in this spelling.
  explicit MutexInstance(int type);
  virtual ~MutexInstance() noexcept(false);

  MutexInstance(const MutexInstance&) = delete;
  MutexInstance& operator=(const MutexInstance&) = delete;

 private:
  friend class Mutex;

  pthread_mutex_t m_mutex{};
  pthread_mutexattr_t m_attributes{};
};

// A guard that holds a mutex.
class FWK_EXPORT FWK_SCOPED_CAPABILITY Mutex {
 public:
  // lock: whether to lock now and, with that, whether the destructor unlocks. Lock() and Unlock()
  // do not change what the destructor does: a guard made with true must hold the lock when it dies.
  // clang's check of locks takes every guard as made with true.
  Mutex(MutexInstance& instance, bool lock) FWK_ACQUIRE(instance);
  virtual ~Mutex() noexcept(false) FWK_RELEASE();

  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  // Lock and unlock between construction and destruction.
  void Lock() FWK_ACQUIRE();
  void Unlock() FWK_RELEASE();

 private:
  pthread_mutex_t* m_mutex;
  bool m_bLocked;
};

// A read/write lock with default attributes, so it is not recursive: to take the write lock while
// the same thread holds the read lock deadlocks or throws (EDEADLK).
class FWK_EXPORT FWK_CAPABILITY("read/write lock") MutexReadWriteInstance {
 public:
  MutexReadWriteInstance();
  virtual ~MutexReadWriteInstance() noexcept(false);

  MutexReadWriteInstance(const MutexReadWriteInstance&) = delete;
  MutexReadWriteInstance& operator=(const MutexReadWriteInstance&) = delete;

 private:
  friend class MutexRead;
  friend class MutexWrite;

  pthread_rwlock_t m_lock{};
};

// A guard that holds a read/write lock for reading: other readers may hold it, too.
class FWK_EXPORT FWK_SCOPED_CAPABILITY MutexRead {
 public:
  // instance: the lock to hold.
  explicit MutexRead(MutexReadWriteInstance& instance) FWK_ACQUIRE_SHARED(instance);
  virtual ~MutexRead() noexcept(false) FWK_RELEASE();

  MutexRead(const MutexRead&) = delete;
  MutexRead& operator=(const MutexRead&) = delete;

 private:
  pthread_rwlock_t* m_lock;
};

// A guard that holds a read/write lock for writing: nobody else holds it.
class FWK_EXPORT FWK_SCOPED_CAPABILITY MutexWrite {
 public:
  // instance: the lock to hold.
  explicit MutexWrite(MutexReadWriteInstance& instance) FWK_ACQUIRE(instance);
  virtual ~MutexWrite() noexcept(false) FWK_RELEASE();

  MutexWrite(const MutexWrite&) = delete;
  MutexWrite& operator=(const MutexWrite&) = delete;

 private:
  pthread_rwlock_t* m_lock;
};
