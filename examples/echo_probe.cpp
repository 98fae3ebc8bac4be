// Prints how long a datagram takes to an echo server and back:
//   echo_probe ADDRESS PORT
//
// Build and run it where libfwk-dev is installed:
//   c++ -std=c++20 echo_probe.cpp -o echo_probe $(pkg-config --cflags --libs fwk)
//   ./echo_probe 127.0.0.1 7007
// The last line needs a running `echo_server 7007`.

#include <chrono>
#include <cstdio>
#include <exception>

#include "framework/net/UDPSocket.h"

int main(int argc, char* argv[]) {
  if (argc != 3) {
    std::fprintf(stderr, "Usage: %s ADDRESS PORT\n", argv[0]);
    return 1;
  }
  try {
    UDPSocket probe(0, 0);
    const auto start = std::chrono::steady_clock::now();
    probe.ConnectAndProbe(argv[1], argv[2], true);
    const auto elapsed = std::chrono::steady_clock::now() - start;
    const auto microseconds =
        std::chrono::duration_cast<std::chrono::microseconds>(elapsed).count();
    std::printf("%s:%s answered in %lld microseconds\n", argv[1], argv[2],
                static_cast<long long>(microseconds));
  } catch (const std::exception& e) {
    std::fprintf(stderr, "echo_probe: %s\n", e.what());
    return 1;
  }
  return 0;
}
