// The timed loop of the benchmarks, with a count of what it allocates.

#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>

// The sizes of the benchmarks named Linear/, whose cost is to grow with the size and no faster.
inline void GrowingSizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->RangeMultiplier(4)->Range(1, 10000);
}

// How many allocations by operator new the calling thread has made so far.
std::uint64_t AllocationCount();

// Times action, which has run once before. The counter "allocations" tells how many one run makes.
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

// Measure, for an action on as many items as the benchmark's argument says.
template <typename Action>
void MeasureItems(benchmark::State& state, const Action& action) {
  Measure(state, action);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
