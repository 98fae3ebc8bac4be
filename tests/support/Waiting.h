#pragma once

#include <chrono>
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
