// A check with a given record: the walk over its terms. No term asks for a look-up, and the logger
// filters all lines.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "bench/micro/Measure.h"
#include "framework/logging/Logger.h"
#include "tool/SPFCheck.h"

namespace {

// In none of the ranges below.
const std::string kClient = "192.0.2.1";

void LogNothing() {
  fwk::Logger::Init("unused", fwk::Error + 1, false, false);
}

bool Check(const std::string& record) {
  return SPFCheck(kClient, "user@example.org", "example.org", 0, record).getResult();
}

void CheckTypicalRecord(benchmark::State& state) {
  LogNothing();
  const std::string record =
      "v=spf1 mx ip4:198.51.100.0/24 ip4:203.0.113.0/26 ip4:203.0.113.200 ip4:198.18.0.0/15 ~all";
  Measure(state, [&] { benchmark::DoNotOptimize(Check(record)); });
}
BENCHMARK(CheckTypicalRecord);

std::string RecordOf(std::int64_t terms) {
  std::string record = "v=spf1";
  for (std::int64_t i = 0; i < terms; ++i) {
    record += " ip4:10." + std::to_string(i / 256) + "." + std::to_string(i % 256) + ".0/24";
  }
  return record + " -all";
}

void CheckRecordOfManyTerms(benchmark::State& state) {
  LogNothing();
  const std::string record = RecordOf(state.range(0));
  MeasureItems(state, [&] { benchmark::DoNotOptimize(Check(record)); });
}
BENCHMARK(CheckRecordOfManyTerms)->Name("Linear/TermsInARecord")->Apply(GrowingSizes);

}  // namespace
