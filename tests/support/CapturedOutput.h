// Keeps what code prints and logs on standard output.

#pragma once

#include <gtest/gtest.h>

#include <string>

#include "framework/logging/Logger.h"

// The logger writes nothing from now on. A test that does not set it up otherwise would write to
// the machine's log directory.
inline void DoNotLog() {
  fwk::Logger::Init("", fwk::DebugThread, false, false);
}

// What action prints on standard output.
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

// What action prints, and what it logs, on whatever level: each line as level word and message.
// Nothing is logged behind it.
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
