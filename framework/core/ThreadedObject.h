// ThreadedObject is the base of an object that owns one worker thread. The subclass gives the
// thread's body; the base starts the thread, swallows what the body throws and ends it in order.
//
// A joined object (detached false) is stopped and joined by its owner. Its subclass must do that in
// its own destructor, StopObjectThread(): by the time of the base's destructor the body's object is
// half gone. A detached object must be made with new; it deletes itself when its body returns, and
// once it is started nobody else may touch it unless they know that the body still runs.
//
// The body may only return or throw. pthread_exit in it, or a cancellation of its thread, ends the
// process; so does an exception that leaves the destructor of a detached object.
//
// The owner's thread starts, stops and joins. Failures throw a StdSystemException whose text is the
// POSIX function's name, " returned " and the code; the owner then still owns the object.

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

  // The thread's body, run on its own thread. Polls m_bRunning and returns when it is false. Its
  // result is the thread's; a body that throws anything gives 0.
  virtual std::uint32_t ObjectThreadMethod() = 0;

  // Stops and joins a thread that is not detached.
  virtual ~ThreadedObject() noexcept(false);

  ThreadedObject(const ThreadedObject&) = delete;
  ThreadedObject& operator=(const ThreadedObject&) = delete;

  // Starts the thread, without waiting for its body; true when there is one. priority: 1 to 98 asks
  // for SCHED_RR with just that priority, which needs the right to it ("pthread_create returned 1"
  // without); any other leaves the scheduling as it is inherited. Throws with the names
  // pthread_attr_init, pthread_attr_setschedpolicy (also for reading the policy),
  // pthread_attr_getschedparam, pthread_attr_setschedparam, pthread_attr_setinheritsched,
  // pthread_create and pthread_detach.
  virtual bool StartObjectThread(bool detached, int priority);

  // Tells the body to end and, unless detached, waits without limit until it has.
  virtual void StopObjectThread();

  // Waits for the end of the thread; without one nothing is done. Throws with the name
  // pthread_join.
  void JoinObjectThread();

  // What pthread_create is given: runs the body of object, a ThreadedObject, and deletes a detached
  // one behind it. Returns the body's result.
  static void* ObjectThreadRoutine(void* object);

 protected:
  pthread_attr_t m_attributes{};       // of the thread; kept for the object's lifetime
  bool m_bDetached = false;            // as StartObjectThread was told
  pthread_t m_thread = 0;              // 0: no thread
  std::atomic<bool> m_bRunning{true};  // false: the body is to end

 private:
  using Gate = std::binary_semaphore;

  void SetPriority(int priority);
  std::uint32_t RunBody();

  // Holds the body back until StartObjectThread no longer touches the object, which a detached
  // one may leave at any time after that. Only there between a start and its body.
  std::shared_ptr<Gate> m_gate;
};
