#include "framework/core/ThreadedObject.h"

#include <sched.h>

#include <utility>

#include "framework/core/Exceptions.h"

ThreadedObject::~ThreadedObject() noexcept(false) {
  if (!m_bDetached && m_thread != 0) {
    ThreadedObject::StopObjectThread();
  }
}

bool ThreadedObject::StartObjectThread(bool detached, int priority) {
  m_bDetached = detached;
  CheckReturnCode(pthread_attr_init(&m_attributes), "pthread_attr_init", 0);
  if (priority >= 1 && priority <= 98) {
    SetPriority(priority);
  }
  const auto gate = std::make_shared<Gate>(0);
  m_gate = gate;
  pthread_t thread = 0;  // undefined after a failed creation
  const int createResult = pthread_create(&thread, &m_attributes, ObjectThreadRoutine, this);
  if (createResult != 0) {
    m_gate.reset();
  }
  CheckReturnCode(createResult, "pthread_create", 0);
  m_thread = thread;
  const int detachResult = detached ? pthread_detach(m_thread) : 0;
  if (detachResult != 0) {
    m_bDetached = false;
  }
  const bool running = m_thread != 0;
  m_bRunning = running;
  gate->release();
  CheckReturnCode(detachResult, "pthread_detach", 0);
  return running;
}

void ThreadedObject::SetPriority(int priority) {
  int policy = 0;
  sched_param parameters{};
  CheckReturnCode(pthread_attr_getschedpolicy(&m_attributes, &policy),
                  "pthread_attr_setschedpolicy", 0);
  CheckReturnCode(pthread_attr_getschedparam(&m_attributes, &parameters),
                  "pthread_attr_getschedparam", 0);
  CheckReturnCode(pthread_attr_setschedpolicy(&m_attributes, SCHED_RR),
                  "pthread_attr_setschedpolicy", 0);
  // The system is asked for the range, but the priority is neither scaled nor clamped to it.
  static_cast<void>(sched_get_priority_min(SCHED_RR));
  static_cast<void>(sched_get_priority_max(SCHED_RR));
  parameters.sched_priority = priority;
  CheckReturnCode(pthread_attr_setschedparam(&m_attributes, &parameters),
                  "pthread_attr_setschedparam", 0);
  CheckReturnCode(pthread_attr_setinheritsched(&m_attributes, PTHREAD_EXPLICIT_SCHED),
                  "pthread_attr_setinheritsched", 0);
}

void ThreadedObject::StopObjectThread() {
  m_bRunning = false;
  if (!m_bDetached) {
    JoinObjectThread();
  }
}

void ThreadedObject::JoinObjectThread() {
  if (m_thread != 0) {
    CheckReturnCode(pthread_join(m_thread, nullptr), "pthread_join", 0);
  }
  m_thread = 0;
}

void* ThreadedObject::ObjectThreadRoutine(void* object) {
  auto* const self = static_cast<ThreadedObject*>(object);
  if (const auto gate = std::exchange(self->m_gate, nullptr)) {
    gate->acquire();
  }
  const std::uint32_t result = self->RunBody();
  if (self->m_bDetached) {
    self->m_bRunning = false;
    delete self;
  }
  return reinterpret_cast<void*>(static_cast<std::uintptr_t>(result));
}

std::uint32_t ThreadedObject::RunBody() {
  try {
    return ObjectThreadMethod();
  } catch (...) {  // no caller could handle it
    return 0;
  }
}
