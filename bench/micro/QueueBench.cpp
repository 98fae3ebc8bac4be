// Lines through the queue: from several threads to one, and in one thread.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "bench/micro/Measure.h"
#include "framework/core/Queue.h"

namespace {

const std::string kLine = "Debug: SPFCheck::processIP4 - domain::198.51.100.0/24";

void Take(Queue<std::string>& queue) {
  std::string line;
  queue.Wait();
  benchmark::DoNotOptimize(queue.Pop(line));
}

// One thread takes what all others push, so that the queue is empty at the end.
void PassLines(benchmark::State& state) {
  static Queue<std::string> queue;
  const int producers = state.threads() - 1;
  const bool consumes = state.thread_index() == 0;
  const std::uint64_t before = AllocationCount();
  for (auto _ : state) {
    if (!consumes) {
      queue.Push(kLine);
      continue;
    }
    for (int i = 0; i < producers; ++i) {
      Take(queue);
    }
  }
  const std::int64_t lines = state.iterations() * producers;
  state.counters["allocations"] =
      static_cast<double>(AllocationCount() - before) / static_cast<double>(lines);
  state.SetItemsProcessed(consumes ? lines : 0);
}
BENCHMARK(PassLines)->Name("PassLinesFrom1Producer")->Threads(2)->UseRealTime();
BENCHMARK(PassLines)->Name("PassLinesFrom2Producers")->Threads(3)->UseRealTime();
BENCHMARK(PassLines)->Name("PassLinesFrom4Producers")->Threads(5)->UseRealTime();

void FillAndEmptyQueue(benchmark::State& state) {
  Queue<std::string> queue;
  MeasureItems(state, [&] {
    for (std::int64_t i = 0; i < state.range(0); ++i) {
      queue.Push(kLine);
    }
    for (std::int64_t i = 0; i < state.range(0); ++i) {
      Take(queue);
    }
  });
}
BENCHMARK(FillAndEmptyQueue)->Name("Linear/LinesInTheQueue")->Apply(GrowingSizes);

}  // namespace
