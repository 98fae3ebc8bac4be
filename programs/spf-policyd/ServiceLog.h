// ServiceLog writes the service's own lines. The framework's lines, whose texts come from DNS, are
// kept out of the log: it writes on no level of theirs.
//
// Any thread may write. Lines are handed to the logging thread once that runs. After each kBacklog
// lines all who write wait until it has caught up, at most a second: memory stays bounded.

#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "framework/core/Locks.h"
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

  // Writes `text` as one line of printable ASCII, unless its level is not wanted. As the logger
  // does, it tells nobody when a line is lost.
  static void Write(fwk::LogLevel level, const std::string& text) noexcept;

  // Waits until all lines are written, at most ten seconds, and ends the logging thread. Returns
  // whether they are.
  static bool End();

 private:
  static void LimitBacklog();

  inline static std::atomic<int> m_level{fwk::Info};
  inline static std::atomic<std::uint32_t> m_lines{0};  // since the last wait
  inline static MutexInstance m_mutex{PTHREAD_MUTEX_RECURSIVE};
};
