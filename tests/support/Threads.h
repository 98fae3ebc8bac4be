// Runs code on several threads at once.

#pragma once

#include <cstddef>
#include <thread>
#include <vector>

// Calls `action` with each number below `count`, each on a thread of its own, and blocks until all
// have returned.
template <typename Action>
void OnThreads(std::size_t count, const Action& action) {
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < count; ++i) {
    threads.emplace_back(action, i);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}
