// Refuses memory. A program that links it has an operator new and an operator delete of its own.

#pragma once

#include <cstddef>

// While one exists, this process gets no memory of `smallest` to `largest` bytes; by default, not
// enough for the text of a long line. One at a time.
class ScarceMemory {
 public:
  explicit ScarceMemory(std::size_t smallest = 601, std::size_t largest = 2099);
  ~ScarceMemory();

  // Returns how often memory was refused.
  int Refusals() const;

  ScarceMemory(const ScarceMemory&) = delete;
  ScarceMemory& operator=(const ScarceMemory&) = delete;
};
