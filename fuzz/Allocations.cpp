#include "fuzz/Allocations.h"

#include <cstdlib>
#include <new>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define FUZZ_ALLOCATOR_HAS_HOOKS
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define FUZZ_ALLOCATOR_HAS_HOOKS
#endif
#endif

namespace {

void (*watcher)(std::size_t size) = nullptr;

}  // namespace

#ifdef FUZZ_ALLOCATOR_HAS_HOOKS

// Is in the runtime of the sanitizers; g++ has no header for it.
extern "C" int __sanitizer_install_malloc_and_free_hooks(
    void (*onMalloc)(const volatile void* memory, std::size_t size),
    void (*onFree)(const volatile void* memory));

void WatchAllocations(void (*watch)(std::size_t size)) {
  watcher = watch;
  const auto onMalloc = [](const volatile void*, std::size_t size) { watcher(size); };
  const auto onFree = [](const volatile void*) {};
  if (__sanitizer_install_malloc_and_free_hooks(onMalloc, onFree) == 0) {
    std::abort();
  }
}

#else

void WatchAllocations(void (*watch)(std::size_t size)) {
  watcher = watch;
}

// Not inlined, because the compiler would warn of free() after new. The forms for arrays call
// these.
__attribute__((noinline)) void* operator new(std::size_t size) {
  if (watcher != nullptr) {
    watcher(size);
  }
  void* const memory = std::malloc(size != 0 ? size : 1);
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

#endif
