// Sets the logger up for a test of what the disk or the descriptors do to it.

#pragma once

#include <string>

#include "framework/logging/Logger.h"

// Plain lines with their level go to current.log in directory, and to standard output.
inline void LogTo(const std::string& directory) {
  fwk::Logger::Init((directory + "/").c_str(), fwk::Debug, false, false);
  fwk::Logger::m_bIncludeLogLevel = true;
  fwk::Logger::m_bSyslog = false;
  fwk::Logger::m_bToFile = true;
  fwk::Logger::m_bToConsole = true;
}
