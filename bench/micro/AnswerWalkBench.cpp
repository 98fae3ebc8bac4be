// Walking the answers of a reply.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "bench/micro/Measure.h"
#include "framework/dns/AnswerWalk.h"
#include "framework/dns/MessageCodec.h"
#include "tests/support/ReplyBuilder.h"

namespace {

const Bytes kQuery = MessageCodec::EncodeQuery("example.org", MessageCodec::kTypeTXT, 4711);

void AddAddress(ReplyBuilder& reply, std::int64_t number) {
  const std::string third = std::to_string(number / 256 % 256);
  reply.A("10.0." + third + "." + std::to_string(number % 256));
}

void AddHost(ReplyBuilder& reply, std::int64_t number) {
  Bytes name = ReplyBuilder::Name("ns" + std::to_string(number));
  name.back() = 0xC0;  // the rest is the question's name
  name.push_back(0x0C);
  reply.Record(MessageCodec::kTypeNS, name);
}

void AddText(ReplyBuilder& reply, std::int64_t number) {
  reply.TXT({"site-verification=" + std::to_string(1000000000000 + number)});
}

using AddAnswer = void (*)(ReplyBuilder& reply, std::int64_t number);

// Reads a reply with as many answers as the argument of the benchmark.
void WalkAnswers(benchmark::State& state, AddAnswer add) {
  ReplyBuilder reply(kQuery);
  for (std::int64_t i = 0; i < state.range(0); ++i) {
    add(reply, i);
  }
  MeasureItems(state, [&] {
    AnswerWalk walk(reply.Build(), MessageCodec::GetAnswerStart(kQuery));
    AnswerWalk::Answer answer;
    while (walk.Next(answer)) {
      benchmark::DoNotOptimize(answer.value.data());
    }
  });
}
BENCHMARK_CAPTURE(WalkAnswers, addresses, AddAddress)->Arg(4);
BENCHMARK_CAPTURE(WalkAnswers, hosts, AddHost)->Arg(4);
BENCHMARK_CAPTURE(WalkAnswers, texts, AddText)->Arg(4);

BENCHMARK_CAPTURE(WalkAnswers, addresses, AddAddress)
    ->Name("Linear/AddressesInAReply")
    ->Apply(GrowingSizes);
BENCHMARK_CAPTURE(WalkAnswers, hosts, AddHost)->Name("Linear/HostsInAReply")->Apply(GrowingSizes);
BENCHMARK_CAPTURE(WalkAnswers, texts, AddText)->Name("Linear/TextsInAReply")->Apply(GrowingSizes);

}  // namespace
