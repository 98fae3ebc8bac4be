// Whether an address lies in a range.

#include <arpa/inet.h>
#include <benchmark/benchmark.h>

#include <string>

#include "bench/micro/Measure.h"
#include "framework/net/Socket.h"

namespace {

const std::string kRange = "192.0.2.0/24";
constexpr char kAddress[] = "192.0.2.77";

void TextIsInRange(benchmark::State& state) {
  Measure(state, [] { benchmark::DoNotOptimize(Socket::IsInRange(kRange, kAddress)); });
}
BENCHMARK(TextIsInRange);

void NumberIsInRange(benchmark::State& state) {
  const in_addr_t address = inet_addr(kAddress);
  Measure(state, [&] { benchmark::DoNotOptimize(Socket::IsInRange(kRange, address)); });
}
BENCHMARK(NumberIsInRange);

}  // namespace
