#include "framework/core/Locks.h"

#include "framework/core/Exceptions.h"

MutexInstance::MutexInstance(int type) {
  CheckReturnCode(pthread_mutexattr_init(&m_attributes), "pthread_mutexm_attr_init", 0);
  CheckReturnCode(pthread_mutexattr_settype(&m_attributes, type), "pthread_mutexattr_settype", 0);
  CheckReturnCode(pthread_mutex_init(&m_mutex, &m_attributes), "pthread_mutex_init", 0);
}

MutexInstance::~MutexInstance() noexcept(false) {
  CheckReturnCode(pthread_mutex_destroy(&m_mutex), "pthread_mutex_destroy", 0);
  CheckReturnCode(pthread_mutexattr_destroy(&m_attributes), "pthread_mutexattr_destroy", 0);
}

Mutex::Mutex(MutexInstance& instance, bool lock) FWK_NO_THREAD_SAFETY_ANALYSIS
    : m_mutex(&instance.m_mutex),
      m_bLocked(lock) {
  if (m_bLocked) {
    Lock();
  }
}

Mutex::~Mutex() noexcept(false) FWK_NO_THREAD_SAFETY_ANALYSIS {
  if (m_bLocked) {
    Unlock();
  }
}

void Mutex::Lock() FWK_NO_THREAD_SAFETY_ANALYSIS {
  CheckReturnCode(pthread_mutex_lock(m_mutex), "pthread_mutex_lock", 0);
}

void Mutex::Unlock() FWK_NO_THREAD_SAFETY_ANALYSIS {
  CheckReturnCode(pthread_mutex_unlock(m_mutex), "pthread_mutex_unlock", 0);
}

MutexReadWriteInstance::MutexReadWriteInstance() {
  CheckReturnCode(pthread_rwlock_init(&m_lock, nullptr), "pthread_rwlock_init", 0);
}

MutexReadWriteInstance::~MutexReadWriteInstance() noexcept(false) {
  CheckReturnCode(pthread_rwlock_destroy(&m_lock), "pthread_rwlock_destroy", 0);
}

MutexRead::MutexRead(MutexReadWriteInstance& instance) FWK_NO_THREAD_SAFETY_ANALYSIS
    : m_lock(&instance.m_lock) {
  CheckReturnCode(pthread_rwlock_rdlock(m_lock), "pthread_rwlock_rdlock", 0);
}

MutexRead::~MutexRead() noexcept(false) FWK_NO_THREAD_SAFETY_ANALYSIS {
  CheckReturnCode(pthread_rwlock_unlock(m_lock), "pthread_rwlock_unlock", 0);
}

MutexWrite::MutexWrite(MutexReadWriteInstance& instance) FWK_NO_THREAD_SAFETY_ANALYSIS
    : m_lock(&instance.m_lock) {
  CheckReturnCode(pthread_rwlock_wrlock(m_lock), "pthread_rwlock_wrlock", 0);
}

MutexWrite::~MutexWrite() noexcept(false) FWK_NO_THREAD_SAFETY_ANALYSIS {
  CheckReturnCode(pthread_rwlock_unlock(m_lock), "pthread_rwlock_unlock", 0);
}
