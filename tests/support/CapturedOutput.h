// What code prints and logs on standard output.

#pragma once

#include <gtest/gtest.h>

#include <string>

#include "framework/logging/Logger.h"

// Switches the logger off. Its initial settings would write to the machine's log directory.
inline void DoNotLog() {
  fwk::Logger::Init("", fwk::DebugThread, false, false);
}

// Returns what `action` prints on standard output.
template <typename Action>
std::string CaptureOutput(const Action& action) {
  testing::internal::CaptureStdout();
  try {
    action();
  } catch (...) {
    testing::internal::GetCapturedStdout();
    throw;
  }
  return testing::internal::GetCapturedStdout();
}

// Returns what `action` prints and logs, each log line as its level and message. Leaves the logger
// switched off.
template <typename Action>
std::string CaptureLog(const Action& action) {
  fwk::Logger::Init("unused", fwk::DebugThread, false, false);
  fwk::Logger::m_bIncludeLogLevel = true;
  fwk::Logger::m_bSyslog = false;
  fwk::Logger::m_bToFile = false;
  fwk::Logger::m_bToConsole = true;
  const std::string output = CaptureOutput(action);
  DoNotLog();
  return output;
}
