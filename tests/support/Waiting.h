#pragma once

#include <chrono>
#include <future>
#include <thread>

// Returns whether `condition`, on another thread or process, comes true within 30 s.
template <typename Condition>
bool ComesTrue(const Condition& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

// Returns whether a call on another thread still blocks after 100 ms.
template <typename T>
bool StillBlocks(const std::future<T>& call) {
  return call.wait_for(std::chrono::milliseconds(100)) == std::future_status::timeout;
}

// Returns whether a call on another thread ends within 30 s.
template <typename T>
bool Ends(const std::future<T>& call) {
  return call.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
}
