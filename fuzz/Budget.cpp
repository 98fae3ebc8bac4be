#include "fuzz/Budget.h"

#include <signal.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "fuzz/Allocations.h"

namespace {

constexpr std::uint64_t kSecond = 1000000;  // in microseconds
constexpr int kSignal = SIGXCPU;

using Text = std::array<char, 128>;

// Formatted in advance, because neither a signal handler nor an allocation may format.
Text timeText;
Text memoryText;

thread_local bool counting = false;
std::uint64_t allocated = 0;
std::uint64_t allowed = 0;
std::uint64_t started = 0;
Budget::Cost lastCost;

[[noreturn]] void Die(const Text& text) {
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text.data(), strlen(text.data()));
  std::abort();
}

void OnTimer(int /*signal*/) {
  Die(timeText);
}

void OnAllocation(std::size_t size) {
  if (counting) {
    allocated += size;
    if (allocated > allowed) {
      counting = false;
      Die(memoryText);
    }
  }
}

std::uint64_t Now() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<std::uint64_t>(time.tv_sec) * kSecond +
         static_cast<std::uint64_t>(time.tv_nsec) / 1000;
}

// Prepares the process for its first budget.
bool Install() {
  WatchAllocations(OnAllocation);
  struct sigaction action {};
  action.sa_handler = OnTimer;
  return sigaction(kSignal, &action, nullptr) == 0;
}

timer_t StartTimer(std::uint64_t microseconds) {
  sigevent event{};
  event.sigev_notify = SIGEV_SIGNAL;
  event.sigev_signo = kSignal;
  itimerspec end{};
  end.it_value.tv_sec = static_cast<time_t>(microseconds / kSecond);
  end.it_value.tv_nsec = static_cast<long>(microseconds % kSecond) * 1000;
  timer_t timer{};
  if (timer_create(CLOCK_THREAD_CPUTIME_ID, &event, &timer) != 0 ||
      timer_settime(timer, 0, &end, nullptr) != 0) {
    std::perror("no timer for a budget");
    std::abort();
  }
  return timer;
}

}  // namespace

Budget::Budget(const Limits& limits, std::size_t inputSize) {
  [[maybe_unused]] static const bool installed = Install();
  const std::uint64_t microseconds = limits.microseconds + limits.microsecondsPerByte * inputSize;
  allowed = limits.bytes + limits.bytesPerByte * inputSize;
  std::snprintf(timeText.data(), timeText.size(),
                "over budget: more than %llu us of CPU time for an input of %zu bytes\n",
                static_cast<unsigned long long>(microseconds), inputSize);
  std::snprintf(memoryText.data(), memoryText.size(),
                "over budget: more than %llu bytes allocated for an input of %zu bytes\n",
                static_cast<unsigned long long>(allowed), inputSize);
  allocated = 0;
  started = Now();
  m_timer = StartTimer(microseconds);
  counting = true;
}

Budget::~Budget() {
  counting = false;
  timer_delete(m_timer);
  lastCost = {.microseconds = Now() - started, .bytes = allocated};
}

Budget::Cost Budget::GetLastCost() {
  return lastCost;
}
