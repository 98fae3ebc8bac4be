// The locks of the framework: POSIX mutexes and read/write locks with every call checked.
//
// MutexInstance and MutexReadWriteInstance are the locks; they are long-lived members or statics.
// Mutex, MutexRead and MutexWrite are guards: they lock in their constructor and unlock in their
// destructor, so they belong on the stack of one thread and must not outlive their lock. Any thread
// may lock; only the thread that locked may unlock.
//
// Locking blocks without a time limit. A failed call throws a StdSystemException with the code that
// the POSIX function returned and the text "FUNCTION returned CODE". A constructor that throws
// leaves nothing locked. Destructors throw too, for example if a mutex is destroyed while it is
// held; if that happens while another exception unwinds the stack, or while statics are destroyed,
// it ends the process.

#pragma once

#include <pthread.h>

#include "framework/core/Export.h"
#include "framework/core/ThreadAnnotations.h"

// A mutex.
class FWK_EXPORT FWK_CAPABILITY("mutex") MutexInstance {
 public:
  // Makes a mutex of a `type` that pthread_mutexattr_settype(3) knows. All mutexes of the framework
  // are PTHREAD_MUTEX_RECURSIVE: a thread may lock one again that it holds, and must unlock it as
  // often. A failed initialisation of the attributes is reported as "pthread_mutexm_attr_init",
  // spelled like this.
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
  // Locks `instance` if `lock` is true; the destructor unlocks in that case, and only in that case.
  // Lock() and Unlock() do not change what the destructor does: a guard that was made with true
  // must hold the lock when it is destroyed. Clang's analysis assumes true for every guard.
  Mutex(MutexInstance& instance, bool lock) FWK_ACQUIRE(instance);
  virtual ~Mutex() noexcept(false) FWK_RELEASE();

  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  // Locks or unlocks the mutex between construction and destruction.
  void Lock() FWK_ACQUIRE();
  void Unlock() FWK_RELEASE();

 private:
  pthread_mutex_t* m_mutex;
  bool m_bLocked;
};

// A read/write lock with default attributes. It is not recursive: a thread that takes the write
// lock while it holds the read lock deadlocks or throws (EDEADLK).
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

// A guard that holds a read/write lock for reading; other readers may hold it at the same time.
class FWK_EXPORT FWK_SCOPED_CAPABILITY MutexRead {
 public:
  // Locks `instance` for reading.
  explicit MutexRead(MutexReadWriteInstance& instance) FWK_ACQUIRE_SHARED(instance);
  virtual ~MutexRead() noexcept(false) FWK_RELEASE();

  MutexRead(const MutexRead&) = delete;
  MutexRead& operator=(const MutexRead&) = delete;

 private:
  pthread_rwlock_t* m_lock;
};

// A guard that holds a read/write lock for writing; no other thread holds it meanwhile.
class FWK_EXPORT FWK_SCOPED_CAPABILITY MutexWrite {
 public:
  // Locks `instance` for writing.
  explicit MutexWrite(MutexReadWriteInstance& instance) FWK_ACQUIRE(instance);
  virtual ~MutexWrite() noexcept(false) FWK_RELEASE();

  MutexWrite(const MutexWrite&) = delete;
  MutexWrite& operator=(const MutexWrite&) = delete;

 private:
  pthread_rwlock_t* m_lock;
};
