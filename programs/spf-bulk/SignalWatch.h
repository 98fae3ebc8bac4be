// SignalWatch is a thread that waits for SIGINT and SIGTERM, which are blocked in all threads that
// are started while it exists. A signal that was ignored before remains ignored.
//
// Its owner makes it before other threads, and starts and destroys it. The destructor waits for the
// end of the thread.

#pragma once

#include <atomic>
#include <csignal>
#include <cstdint>
#include <functional>

#include "framework/core/ThreadedObject.h"

class SignalWatch : public ThreadedObject {
 public:
  // `action` is called on the thread when a signal arrives.
  explicit SignalWatch(std::function<void()> action);
  ~SignalWatch() noexcept(false) override;

  // Returns the signal that has arrived; 0 if there is none.
  int GetSignal() const { return m_signal; }

  // Ends the program by that signal.
  void EndProgram() const;

  // Waits for a signal, calls the action, and ends the program unless another thread does so within
  // 0.8 s.
  std::uint32_t ObjectThreadMethod() override;

  void StopObjectThread() override;

 private:
  std::function<void()> m_action;
  sigset_t m_signals{};
  sigset_t m_oldMask{};
  std::atomic<int> m_signal{0};
};
