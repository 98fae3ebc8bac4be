// A daemon in miniature: reads /etc/NAME.conf, logs what it found and what its workers do, from a
// thread for the log, and ends:
//   greylog NAME VERSION

#include <chrono>
#include <cstdio>
#include <exception>
#include <thread>
#include <vector>

#include "framework/config/Environment.h"
#include "framework/logging/Logger.h"

using namespace std::chrono_literals;

namespace {

constexpr int kWorkers = 4;
constexpr int kMessages = 25;

void Work(int worker) {
  for (int message = 1; message <= kMessages; ++message) {
    fwk::Logger::Log(fwk::Info, "worker %d: message %d of %d", worker, message, kMessages);
    std::this_thread::sleep_for(10ms);
  }
}

void RunWorkers() {
  std::vector<std::jthread> workers;
  for (int worker = 1; worker <= kWorkers; ++worker) {
    workers.emplace_back(Work, worker);
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc != 3) {
    std::fprintf(stderr, "Usage: %s NAME VERSION\n", argv[0]);
    return 1;
  }
  try {
    const Environment environment(argv[1], argv[2]);
    fwk::Logger::StartAsync();
    Environment::ShowEnvironment();
    RunWorkers();
    std::this_thread::sleep_for(2s);  // StopAsync drops what is not written yet
    fwk::Logger::StopAsync();
    fwk::Logger::Log(fwk::Info, "%s ends", Environment::PRODUCT_NAME.c_str());
  } catch (const std::exception& e) {
    std::fprintf(stderr, "greylog: %s\n", e.what());
    return 1;
  }
  return 0;
}
