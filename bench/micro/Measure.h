// The timed loop of the benchmarks, with a count of what it allocates.

#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>

// Sets the sizes of the benchmarks named Linear/, whose cost must grow no faster than the size.
inline void GrowingSizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->RangeMultiplier(4)->Range(1, 10000);
}

// Returns how many allocations by operator new the calling thread has made.
std::uint64_t AllocationCount();

// Times `action` after running it once. The counter "allocations" is their number in one run.
template <typename Action>
void Measure(benchmark::State& state, const Action& action) {
  action();
  const std::uint64_t before = AllocationCount();
  for (auto _ : state) {
    action();
  }
  state.counters["allocations"] = benchmark::Counter(
      static_cast<double>(AllocationCount() - before), benchmark::Counter::kAvgIterations);
}

// As above, for an action on as many items as the argument of the benchmark.
template <typename Action>
void MeasureItems(benchmark::State& state, const Action& action) {
  Measure(state, action);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
