#include "tests/support/ScarceMemory.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

std::atomic<bool> scarce{false};

}  // namespace

ScarceMemory::ScarceMemory() {
  scarce = true;
}

ScarceMemory::~ScarceMemory() {
  scarce = false;
}

// Not inlined: the compiler would warn of malloc() behind delete.
__attribute__((noinline)) void* operator new(std::size_t size) {
  void* const memory = scarce && size > 600 && size < 2100 ? nullptr : std::malloc(size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

__attribute__((noinline)) void operator delete(void* memory) noexcept {
  std::free(memory);
}

__attribute__((noinline)) void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
