#include "tests/support/ScarceMemory.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> smallest{1};  // of the sizes that are refused
std::atomic<std::size_t> largest{0};
std::atomic<int> refusals{0};

void* Allocate(std::size_t size) {
  if (size >= smallest && size <= largest) {
    ++refusals;
    return nullptr;
  }
  return std::malloc(size);
}

}  // namespace

ScarceMemory::ScarceMemory(std::size_t from, std::size_t to) {
  refusals = 0;
  smallest = from;
  largest = to;
}

ScarceMemory::~ScarceMemory() {
  smallest = 1;
  largest = 0;
}

int ScarceMemory::Refusals() const {
  return refusals;
}

// Inlined, the compiler would warn of delete for memory of malloc().
__attribute__((noinline)) void* operator new(std::size_t size) {
  void* const memory = Allocate(size);
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
