// Makes memory run short, to see what code does when it gets none.
//
// A program that links it has an operator new and an operator delete of its own.

#pragma once

// While one exists, no text of this process can grow to the size of a long line: memory of 601 to
// 2099 bytes is refused. One at a time.
class ScarceMemory {
 public:
  ScarceMemory();
  ~ScarceMemory();

  ScarceMemory(const ScarceMemory&) = delete;
  ScarceMemory& operator=(const ScarceMemory&) = delete;
};
