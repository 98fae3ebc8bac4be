// Queue passes items, in order, from the threads that push them to those that pop them, until it is
// closed. A closed queue accepts and returns nothing, and cannot be reopened.
//
// Thread-safe, but the owner must not destroy a queue that other threads still use. Wait() blocks,
// and Close() blocks until the threads in Wait() have left it. Every other operation only takes the
// queue's lock for a moment. Each throws if a lock fails (Locks.h).

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

  // Appends `item` and wakes one thread that waits. Drops `item` if the queue is closed.
  void Push(T item) {
    const MutexWrite guard(m_lock);
    if (!m_closed) {
      m_items.push_back(std::move(item));
      m_signal.Post();
    }
  }

  // Moves the front item to `out`. Returns false if the queue is empty or closed.
  bool Pop(T& out) {
    const MutexWrite guard(m_lock);
    if (m_closed || m_items.empty()) {
      return false;
    }
    out = std::move(m_items.front());
    m_items.pop_front();
    return true;
  }

  // Blocks until more items were pushed than calls of Wait() have returned, or the queue is closed.
  void Wait() { m_signal.Wait(); }

  // Closes the queue and releases every thread that waits. Items that are left are lost.
  void Close() {
    const MutexWrite guard(m_lock);
    m_closed = true;
    m_signal.Shutdown();
  }

  // Returns whether Close() was called.
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
