// Lines through the queue: from several threads to one, and in one thread.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "bench/micro/Measure.h"
#include "framework/core/Queue.h"

namespace {

const std::string kLine = "Debug: SPFCheck::processIP4 - domain::198.51.100.0/24";

void Take(Queue<std::string>& queue) {
  std::string line;
  queue.Wait();
  benchmark::DoNotOptimize(queue.Pop(line));
}

// One thread takes the lines that others push. The time is that of one line.
void PassLines(benchmark::State& state, int producers) {
  constexpr int kLines = 10000;
  Queue<std::string> queue;
  const auto push = [&] {
    for (int i = 0; i < kLines / producers; ++i) {
      queue.Push(kLine);
    }
  };
  while (state.KeepRunningBatch(kLines)) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < producers; ++i) {
      threads.emplace_back(push);
    }
    for (int i = 0; i < kLines; ++i) {
      Take(queue);
    }
  }
}
BENCHMARK_CAPTURE(PassLines, from_1_producer, 1)->UseRealTime();
BENCHMARK_CAPTURE(PassLines, from_2_producers, 2)->UseRealTime();
BENCHMARK_CAPTURE(PassLines, from_4_producers, 4)->UseRealTime();

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
