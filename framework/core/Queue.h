// Queue carries items from the threads that push them to those that pop them, in order, until it is
// closed. A closed queue takes and gives nothing any more and is never opened again.
//
// Any thread may use it; the owner destroys it when no other does. Every operation but Wait
// takes the queue's own lock for a moment; each throws where a lock fails (Locks.h). Only Wait
// blocks, and Close until those who wait have left.

#pragma once

#include <deque>
#include <string>
#include <utility>

#include "framework/core/Export.h"
#include "framework/core/Locks.h"
#include "framework/core/ThreadAnnotations.h"
#include "framework/core/WaitSemaphore.h"

template <typename T>
class FWK_EXPORT Queue {
 public:
  Queue() = default;
  ~Queue() noexcept(false) = default;

  Queue(const Queue&) = delete;
  Queue& operator=(const Queue&) = delete;

  // Appends item, and wakes one who waits; drops it when the queue is closed.
  void Push(T item) {
    const MutexWrite guard(m_lock);
    if (!m_closed) {
      m_items.push_back(std::move(item));
      m_signal.Post();
    }
  }

  // Moves the front item to out; whether there was one. Not from a closed queue.
  bool Pop(T& out) {
    const MutexWrite guard(m_lock);
    if (m_closed || m_items.empty()) {
      return false;
    }
    out = std::move(m_items.front());
    m_items.pop_front();
    return true;
  }

  // Blocks until more items were pushed than Waits have returned, or the queue is closed.
  void Wait() { m_signal.Wait(); }

  // Closes the queue and releases all who wait; the items left are not given any more.
  void Close() {
    const MutexWrite guard(m_lock);
    m_closed = true;
    m_signal.Shutdown();
  }

  // Whether Close() was called.
  bool IsClosed() {
    const MutexRead guard(m_lock);
    return m_closed;
  }

 private:
  std::deque<T> m_items FWK_GUARDED_BY(m_lock);
  MutexReadWriteInstance m_lock;
  WaitSemaphore m_signal;
  bool m_closed FWK_GUARDED_BY(m_lock) = false;
};

extern template class Queue<std::string>;
