#include "bench/micro/Measure.h"

#include <cstddef>

#include "fuzz/Allocations.h"

namespace {

thread_local std::uint64_t allocations = 0;

[[maybe_unused]] const bool watched = [] {
  WatchAllocations([](std::size_t) { ++allocations; });
  return true;
}();

}  // namespace

std::uint64_t AllocationCount() {
  return allocations;
}
