// ServiceLog writes the service's own lines. It uses a level of its own, so that the framework's
// lines, whose texts come from DNS, are not logged.
//
// Any thread may write. Lines are handed to the logging thread once it runs. After each kBacklog
// lines all writers wait until it has caught up, at most a second, so that memory stays bounded.

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

  // Sets the target and level of later lines from `settings`.
  static void SetUp(const Settings& settings);

  // Returns why the log cannot be written; empty if it can.
  static std::string FindFault(const Settings& settings);

  // Writes `text` as one line of printable ASCII if `level` is wanted. Like the logger, it does not
  // report a lost line.
  static void Write(fwk::LogLevel level, const std::string& text) noexcept;

  // Waits at most ten seconds until all lines are written, then ends the logging thread. Returns
  // whether all were written.
  static bool End();

 private:
  static void LimitBacklog();

  inline static std::atomic<int> m_level{fwk::Info};
  inline static std::atomic<std::uint32_t> m_lines{0};  // since the last wait
  inline static MutexInstance m_mutex{PTHREAD_MUTEX_RECURSIVE};
};
