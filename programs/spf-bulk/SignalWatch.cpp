#include "programs/spf-bulk/SignalWatch.h"

#include <pthread.h>

#include <chrono>
#include <thread>
#include <utility>

namespace {

constexpr std::chrono::milliseconds kPatience{800};
constexpr int kWakeUp = SIGUSR1;  // ends the thread

bool IsIgnored(int signal) {
  struct sigaction action {};
  sigaction(signal, nullptr, &action);
  return action.sa_handler == SIG_IGN;
}

}  // namespace

SignalWatch::SignalWatch(std::function<void()> action) : m_action(std::move(action)) {
  sigemptyset(&m_signals);
  sigaddset(&m_signals, kWakeUp);
  for (const int signal : {SIGINT, SIGTERM}) {
    if (!IsIgnored(signal)) {
      sigaddset(&m_signals, signal);
    }
  }
  pthread_sigmask(SIG_BLOCK, &m_signals, &m_oldMask);
}

SignalWatch::~SignalWatch() noexcept(false) {
  SignalWatch::StopObjectThread();
  pthread_sigmask(SIG_SETMASK, &m_oldMask, nullptr);
}

void SignalWatch::StopObjectThread() {
  m_bRunning = false;
  if (m_thread != 0) {
    pthread_kill(m_thread, kWakeUp);
  }
  ThreadedObject::StopObjectThread();
}

std::uint32_t SignalWatch::ObjectThreadMethod() {
  int signal = kWakeUp;
  while (m_bRunning && signal == kWakeUp) {
    sigwait(&m_signals, &signal);
  }
  if (signal != kWakeUp) {
    m_signal = signal;
    m_action();
    std::this_thread::sleep_for(kPatience);
    EndProgram();
  }
  return 0;
}

void SignalWatch::EndProgram() const {
  const int signal = m_signal;
  std::signal(signal, SIG_DFL);
  sigset_t one;
  sigemptyset(&one);
  sigaddset(&one, signal);
  pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
  raise(signal);
}
