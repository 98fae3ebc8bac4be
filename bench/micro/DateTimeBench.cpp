// Dates: from the system's time, from a text, into fields and into a text.

#include <benchmark/benchmark.h>

#include <ctime>
#include <string>

#include "bench/micro/Measure.h"
#include "framework/Utilities/CalendarFields.h"
#include "framework/Utilities/DateTime.h"

namespace {

const fwk::DateTime kDate(2024, 3, 1, 14, 5, 9);

void TakeSystemTime(benchmark::State& state) {
  const std::time_t seconds = 1709301909;
  Measure(state, [&] { benchmark::DoNotOptimize(fwk::DateTime(seconds).GetValue()); });
}
BENCHMARK(TakeSystemTime);

void ParseDateTime(benchmark::State& state) {
  const std::string text = "2024-03-01 14:05:09";
  fwk::DateTime date;
  Measure(state, [&] { benchmark::DoNotOptimize(date.Parse(text)); });
}
BENCHMARK(ParseDateTime);

void DecodeDateTime(benchmark::State& state) {
  Measure(state,
          [] { benchmark::DoNotOptimize(fwk::CalendarFields::FromValue(kDate.GetValue())); });
}
BENCHMARK(DecodeDateTime);

void FormatDateTime(benchmark::State& state) {
  Measure(state, [] { benchmark::DoNotOptimize(kDate.FormatDateTime()); });
}
BENCHMARK(FormatDateTime);

}  // namespace
