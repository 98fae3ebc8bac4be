// Cleaning the text of a name server, and replacing characters by references.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "bench/micro/Measure.h"
#include "framework/Utilities/StringUtilities.h"

namespace {

void Sanitise(benchmark::State& state, const std::string& text) {
  Measure(state, [&] { benchmark::DoNotOptimize(SanitiseUtf8(text)); });
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK_CAPTURE(Sanitise, host, "mail.example.org");
BENCHMARK_CAPTURE(Sanitise, record,
                  "v=spf1 ip4:198.51.100.0/24 ip4:203.0.113.0/26 include:_spf.example.org -all");
BENCHMARK_CAPTURE(Sanitise, utf8, "Grüße aus Zürich, 東京 и Москва: \xF0\x9F\x93\xA7 κόσμε");
BENCHMARK_CAPTURE(Sanitise, stray_bytes, "\x01\x80\xC2\x85\xFF\xE2\x82 text \xF0\x9F\x1B[31m\x7F");

// Encodes as many copies of a character as the argument of the benchmark.
void Encode(benchmark::State& state, char character) {
  const std::string text(static_cast<std::size_t>(state.range(0)), character);
  MeasureItems(state, [&] { benchmark::DoNotOptimize(EncodeChars(text, "<>&\"'")); });
}
BENCHMARK_CAPTURE(Encode, replaced, '<')->Name("Linear/CharactersToEncode")->Apply(GrowingSizes);
BENCHMARK_CAPTURE(Encode, kept, 'a')->Name("Linear/CharactersToKeep")->Apply(GrowingSizes);

}  // namespace
