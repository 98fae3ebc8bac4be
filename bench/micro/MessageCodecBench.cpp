// Writing a query, and reading one name of a reply.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "bench/micro/Measure.h"
#include "framework/dns/MessageCodec.h"
#include "tests/support/ReplyBuilder.h"

namespace {

constexpr std::uint16_t kId = 4711;

void EncodeQuery(benchmark::State& state) {
  const std::string domain = "_spf.mail.example.org";
  Measure(state, [&] {
    benchmark::DoNotOptimize(MessageCodec::EncodeQuery(domain, MessageCodec::kTypeTXT, kId));
  });
}
BENCHMARK(EncodeQuery);

// A name whose end is a pointer to the question, as name servers write it.
void DecodeName(benchmark::State& state) {
  const Bytes query = MessageCodec::EncodeQuery("example.org", MessageCodec::kTypeNS, kId);
  const Bytes reply = ReplyBuilder(query).Raw({3, 'n', 's', '1', 0xC0, 0x0C}).Build();
  const std::uint32_t at = MessageCodec::GetAnswerStart(query);
  std::uint32_t consumed = 0;
  Measure(state, [&] {
    benchmark::DoNotOptimize(MessageCodec::DecodeName(reply, at, consumed));
    benchmark::DoNotOptimize(consumed);
  });
}
BENCHMARK(DecodeName);

}  // namespace
