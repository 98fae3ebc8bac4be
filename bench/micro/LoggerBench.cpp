// A log line: filtered, composed, and written to the file and to the console.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <string_view>

#include "bench/micro/Measure.h"
#include "framework/logging/Logger.h"
#include "tests/support/TemporaryDirectory.h"

using fwk::Logger;

namespace {

void LogLine() {
  Logger::Log(fwk::Debug, "SPFCheck::SPFCheck ip(%s), smtpFrom(%s), domain(%s)", "192.0.2.1",
              "user@example.org", "example.org");
}

// Redirects standard output to /dev/null while it exists.
class NoOutput {
 public:
  NoOutput() {
    std::fflush(stdout);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, STDOUT_FILENO);
    close(null);
  }
  ~NoOutput() {
    dup2(m_old, STDOUT_FILENO);
    close(m_old);
  }

  NoOutput(const NoOutput&) = delete;
  NoOutput& operator=(const NoOutput&) = delete;

 private:
  int m_old = dup(STDOUT_FILENO);
};

// Where lines go, and whether with date, time and thread.
struct Output {
  bool toFile = false;
  bool toConsole = false;
  bool longPrefix = false;
};

void SetUpLogger(const char* location, int level, const Output& output) {
  Logger::Init(location, static_cast<unsigned short>(level), output.longPrefix, output.longPrefix);
  Logger::m_bToFile = output.toFile;
  Logger::m_bToConsole = output.toConsole;
  Logger::m_bSyslog = false;
  Logger::m_bIncludeLogLevel = true;
}

void FilterByLevel(benchmark::State& state) {
  SetUpLogger("unused", fwk::Error + 1, {});
  Measure(state, LogLine);
}
BENCHMARK(FilterByLevel);

void FilterByEmptyLocation(benchmark::State& state) {
  SetUpLogger("", fwk::Debug, {});
  Measure(state, LogLine);
}
BENCHMARK(FilterByEmptyLocation);

void WriteLogLine(benchmark::State& state, const Output& output) {
  const TemporaryDirectory directory;
  const NoOutput noOutput;
  SetUpLogger(directory.Path("log.txt").c_str(), fwk::Debug, output);
  Measure(state, LogLine);
}
BENCHMARK_CAPTURE(WriteLogLine, nowhere, {});
BENCHMARK_CAPTURE(WriteLogLine, nowhere_long_prefix, {.longPrefix = true});
BENCHMARK_CAPTURE(WriteLogLine, console, {.toConsole = true});
BENCHMARK_CAPTURE(WriteLogLine, file, {.toFile = true});
BENCHMARK_CAPTURE(WriteLogLine, file_long_prefix, {.toFile = true, .longPrefix = true});
BENCHMARK_CAPTURE(WriteLogLine, file_and_console, {.toFile = true, .toConsole = true});

// The least that a line in the file costs.
void AppendLine(benchmark::State& state) {
  const TemporaryDirectory directory;
  const std::string path = directory.Path("plain.log");
  const std::string_view line =
      "Debug: SPFCheck::SPFCheck ip(192.0.2.1), smtpFrom(user@example.org), domain(example.org)\n";
  Measure(state, [&] {
    const int file = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    benchmark::DoNotOptimize(write(file, line.data(), line.size()));
    close(file);
  });
}
BENCHMARK(AppendLine);

}  // namespace
