// ThreadedObject is the base of a class that owns one worker thread. The subclass provides the body
// of the thread; the base starts and ends the thread and swallows what the body throws.
//
// The owner stops and joins an object that is not detached. The destructor of its subclass must
// call StopObjectThread(), because the subclass's members no longer exist when the base's
// destructor runs. A detached object must be made with new and deletes itself when its body
// returns; after it is started, nobody else may touch it unless they know that the body still runs.
//
// The body must end by returning or throwing. pthread_exit(), a cancellation of the thread and an
// exception that leaves the destructor of a detached object end the process.
//
// Only the owner's thread may start, stop and join. A failure throws a StdSystemException with the
// text "FUNCTION returned CODE", where FUNCTION is the POSIX function that failed; the owner then
// still owns the object.

#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <semaphore>

#include "framework/core/Export.h"

class FWK_EXPORT ThreadedObject {
 public:
  ThreadedObject() = default;

  // Runs on the thread, as its body. An implementation polls m_bRunning and returns when it is
  // false. Returns the result of the thread, which is 0 if the body throws.
  virtual std::uint32_t ObjectThreadMethod() = 0;

  // Stops and joins the thread unless it is detached.
  virtual ~ThreadedObject() noexcept(false);

  ThreadedObject(const ThreadedObject&) = delete;
  ThreadedObject& operator=(const ThreadedObject&) = delete;

  // Starts the thread and returns true, without waiting for the body to begin. A `priority` of 1 to
  // 98 asks for SCHED_RR with that priority, for which the process needs the privilege (otherwise
  // "pthread_create returned 1"); any other value inherits the scheduling of the caller. Throws for
  // pthread_attr_init, pthread_attr_setschedpolicy (also if reading the policy fails),
  // pthread_attr_getschedparam, pthread_attr_setschedparam, pthread_attr_setinheritsched,
  // pthread_create and pthread_detach.
  virtual bool StartObjectThread(bool detached, int priority);

  // Tells the body to end and, unless the thread is detached, blocks until it has ended.
  virtual void StopObjectThread();

  // Blocks until the thread has ended; does nothing if there is none. Throws for pthread_join.
  void JoinObjectThread();

  // Runs the body of `object`, a ThreadedObject, and deletes the object afterwards if it is
  // detached. Returns the body's result. This is the function that pthread_create() is given.
  static void* ObjectThreadRoutine(void* object);

 protected:
  pthread_attr_t m_attributes{};       // of the thread; kept as long as the object
  bool m_bDetached = false;            // the argument of StartObjectThread()
  pthread_t m_thread = 0;              // 0 if there is no thread
  std::atomic<bool> m_bRunning{true};  // false tells the body to end

 private:
  using Gate = std::binary_semaphore;

  void SetPriority(int priority);
  std::uint32_t RunBody();

  // Delays the body until StartObjectThread() no longer touches the object, which a detached body
  // may delete at any time afterwards. Null except between a start and the beginning of the body.
  std::shared_ptr<Gate> m_gate;
};
