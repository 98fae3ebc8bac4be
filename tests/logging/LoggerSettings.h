// The settings of the logger that tests begin and end with.

#pragma once

#include <string>

#include "framework/logging/Logger.h"

// Lets the logger write plain lines of all levels to `location` + "current.log".
inline void LogPlainLinesTo(const std::string& location) {
  fwk::Logger::Init(location.c_str(), fwk::DebugThread, false, false);
  fwk::Logger::m_bIncludeLogLevel = true;
  fwk::Logger::m_bToFile = true;
  fwk::Logger::m_bToConsole = false;
  fwk::Logger::m_bSyslog = false;
  fwk::Logger::m_logFilename = "current.log";
  fwk::Logger::m_currentLog = "";
}

// Gives the logger the settings that it has at the start of a process.
inline void RestoreLogger() {
  LogPlainLinesTo("");
  fwk::Logger::Init("/var/log/", fwk::Debug, true, true);
}
