// Makes memory run short, to see what code does when it gets none.
//
// A program that links it has an operator new and an operator delete of its own.

#pragma once

#include <cstddef>

// While one exists, memory of smallest to largest bytes is refused to this process; as a rule, what
// the text of a long line takes. One at a time.
class ScarceMemory {
 public:
  explicit ScarceMemory(std::size_t smallest = 601, std::size_t largest = 2099);
  ~ScarceMemory();

  // How often memory was refused.
  int Refusals() const;

  ScarceMemory(const ScarceMemory&) = delete;
  ScarceMemory& operator=(const ScarceMemory&) = delete;
};
