// The system calls of a look-up besides its exchange, and whether an address is in a range.

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

#include "bench/micro/Measure.h"
#include "framework/net/Socket.h"

namespace {

void MakeNonBlocking(benchmark::State& state) {
  Socket socket(0, 0);
  socket.CreateSocket(AF_INET, SOCK_DGRAM, IPPROTO_UDP, false);
  Measure(state, [&] { socket.SocketNonBlocking(true); });
}
BENCHMARK(MakeNonBlocking);

void AskProcessId(benchmark::State& state) {
  Measure(state, [] { benchmark::DoNotOptimize(getpid()); });
}
BENCHMARK(AskProcessId);

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
