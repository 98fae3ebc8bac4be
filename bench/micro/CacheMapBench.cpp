// A full map, in which each new key replaces an old one.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <string>
#include <vector>

#include "bench/micro/Measure.h"
#include "framework/core/CacheMap.h"

namespace {

// The sizes of the logger's memory of messages.
constexpr std::size_t kLimit = 10000;
constexpr std::size_t kBatch = 100;

std::vector<std::string> MakeKeys(std::size_t count) {
  std::vector<std::string> keys;
  for (std::size_t i = 0; i < count; ++i) {
    keys.push_back("cannot read the answer of host " + std::to_string(i));
  }
  return keys;
}

// Returns twice as many keys as fit, so that a key has been replaced when it is used again.
const std::vector<std::string>& Keys() {
  static const std::vector<std::string> keys = MakeKeys(2 * kLimit);
  return keys;
}

// A map that holds the first kLimit keys.
class FullMap : public CacheMap<std::string> {
 public:
  FullMap() : CacheMap(kLimit, kBatch) {
    for (std::size_t i = 0; i < kLimit; ++i) {
      Insert(Keys()[i]);
    }
  }
};

void InsertIntoFullMap(benchmark::State& state) {
  FullMap map;
  std::size_t next = kLimit;
  Measure(state, [&] {
    benchmark::DoNotOptimize(map.Insert(Keys()[next]));
    next = (next + 1) % Keys().size();
  });
}
BENCHMARK(InsertIntoFullMap);

// Finds as many keys as fit, from `first` on.
void FindInFullMap(benchmark::State& state, std::size_t first) {
  const FullMap map;
  std::size_t next = 0;
  Measure(state, [&] {
    benchmark::DoNotOptimize(map.Find(Keys()[first + next]));
    next = (next + 1) % kLimit;
  });
}
BENCHMARK_CAPTURE(FindInFullMap, known, 0);
BENCHMARK_CAPTURE(FindInFullMap, unknown, kLimit);

}  // namespace
