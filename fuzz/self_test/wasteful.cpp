// A target that goes over its budget in the way that the first letter of the input tells: compute,
// forever, once, piecemeal. Any other input stays within it.

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <vector>

#include "fuzz/Budget.h"

namespace {

constexpr Budget::Limits kLimits{
    .microseconds = 20000, .microsecondsPerByte = 1000, .bytes = 1000, .bytesPerByte = 100};

std::vector<char> kept;  // so that the compiler keeps the allocations

void ComputeFor(std::clock_t microseconds) {
  const std::clock_t end = std::clock() + microseconds;
  while (std::clock() < end) {
  }
}

void ComputeForever() {
  for (std::time_t now = 1; now != 0;) {
    now = std::time(nullptr);
  }
}

void Allocate(std::size_t times, std::size_t size) {
  for (std::size_t i = 0; i < times; ++i) {
    kept = std::vector<char>(size);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Budget budget(kLimits, size);
  switch (size == 0 ? '\0' : static_cast<char>(*data)) {
    case 'c':
      ComputeFor(500000);
      break;
    case 'f':
      ComputeForever();
      break;
    case 'o':
      Allocate(1, 5000);
      break;
    case 'p':
      Allocate(100, 50);
      break;
    default:
      ComputeFor(1000);
      Allocate(10, 100);
      break;
  }
  return 0;
}
