// Formatting a text: most of its cost is the zeroing of the large buffer.

#include <benchmark/benchmark.h>

#include "bench/micro/Measure.h"
#include "framework/core/StringFormat.h"

namespace {

void FormatText(benchmark::State& state) {
  Measure(state, [] {
    benchmark::DoNotOptimize(
        StringFormat("timed out (%d) while %s from the socket on (%s)", 5000, "reading", "")
            .GetString());
  });
}
BENCHMARK(FormatText);

}  // namespace
