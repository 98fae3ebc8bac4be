// Shows a daemon in miniature: it reads /etc/NAME.conf, logs its settings and the work of its
// workers from a thread of the log's own, and ends:
//   greylog NAME VERSION
//
// Build and run it where libfwk-dev is installed:
//   c++ -std=c++20 greylog.cpp -o greylog $(pkg-config --cflags --libs fwk)
//   ./greylog GreyLog 1.0
//
// The log is current.log in the directory of the configuration's line "logging=.../", or else in
// /var/log/NAME/ (NAME in lower case). The directory must exist.

#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "framework/config/Environment.h"
#include "framework/core/Exceptions.h"
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

// Logs the environment. Throws if the log file did not grow, because the logger reports no failure.
void ShowEnvironment() {
  const std::string path = Environment::m_logging + "current.log";
  const bool wanted = !Environment::m_logging.empty() && Environment::m_logLevel <= fwk::Info;
  std::error_code unknown;
  const auto before = std::filesystem::file_size(path, unknown);
  Environment::ShowEnvironment();
  if (wanted && std::filesystem::file_size(path, unknown) == before) {
    throw StdException("cannot write " + path);
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
    ShowEnvironment();
    fwk::Logger::StartAsync();
    RunWorkers();
    fwk::Logger::Drain(10s);  // StopAsync drops lines that are not written yet
    fwk::Logger::StopAsync();
    fwk::Logger::Log(fwk::Info, "%s ends", Environment::PRODUCT_NAME.c_str());
  } catch (const std::exception& e) {
    std::fprintf(stderr, "greylog: %s\n", e.what());
    return 1;
  }
  return 0;
}
