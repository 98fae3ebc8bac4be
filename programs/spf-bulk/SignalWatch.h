// SignalWatch is a thread that waits for SIGINT and SIGTERM, which no other thread gets that is
// started while the object exists. One of the two that was ignored before stays so.
//
// The owner makes it before other threads, starts it, and destroys it, which waits for the end of
// the thread.

#pragma once

#include <atomic>
#include <csignal>
#include <cstdint>
#include <functional>

#include "framework/core/ThreadedObject.h"

class SignalWatch : public ThreadedObject {
 public:
  // `action`: is called on the thread when a signal has come.
  explicit SignalWatch(std::function<void()> action);
  ~SignalWatch() noexcept(false) override;

  // Returns the signal that has come; 0: none has.
  int GetSignal() const { return m_signal; }

  // Ends the program by the signal that has come.
  void EndProgram() const;

  // Waits for a signal, calls the action, and ends the program itself if nobody else does so within
  // 0.8 s.
  std::uint32_t ObjectThreadMethod() override;

  void StopObjectThread() override;

 private:
  std::function<void()> m_action;
  sigset_t m_signals{};
  sigset_t m_oldMask{};
  std::atomic<int> m_signal{0};
};
