// ServiceLog writes the service's own lines. The framework's lines, whose texts come from DNS, are
// kept out of the log: it writes on no level of theirs.
//
// Any thread may write. Lines are handed to the logging thread once that runs; when it falls behind
// by kBacklog lines, whoever writes the next one waits until it has caught up, at most a second.

#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "framework/logging/Logger.h"
#include "programs/spf-policyd/Settings.h"

class ServiceLog {
 public:
  static constexpr std::uint32_t kBacklog = 1000;

  ServiceLog() = delete;

  // Writes from now on to where `settings` says, on the levels that it says.
  static void SetUp(const Settings& settings);

  // Returns why the log cannot be written; empty when it can.
  static std::string FindFault(const Settings& settings);

  // Writes `text` as one line of printable ASCII, unless its level is not wanted.
  static void Write(fwk::LogLevel level, const std::string& text);

  // Waits until all lines are written, at most ten seconds, and ends the logging thread.
  static void End();

 private:
  inline static std::atomic<int> s_level{fwk::Info};
  inline static std::atomic<std::uint32_t> s_lines{0};
};
