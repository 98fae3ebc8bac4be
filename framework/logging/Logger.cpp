#include "framework/logging/Logger.h"

#include <array>
#include <cstdio>
#include <ctime>

#include "framework/Utilities/DateTime.h"

namespace fwk {

void Logger::Init(const char* location, unsigned short level, bool includeDateTime,
                  bool includeThreadID) noexcept {
  try {
    const Mutex guard(m_MutexInstance, true);
    m_sLogFileLocation = location != nullptr ? location : "";
    m_bHasLocation = !m_sLogFileLocation.empty();
    m_LogLevel = static_cast<std::int16_t>(level);
    m_bIncludeDateTime = includeDateTime;
    m_bIncludeThreadID = includeThreadID;
  } catch (...) {  // logging never throws: the settings stay as they were
  }
}

void Logger::Log(int level, const char* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  ComposeAndWrite(level, format, arguments);
  va_end(arguments);
}

void Logger::LogSync(int level, const char* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  ComposeAndWrite(level, format, arguments);
  va_end(arguments);
}

void Logger::ComposeAndWrite(int level, const char* format, va_list arguments) noexcept {
  if (m_LogLevel > level || !m_bHasLocation) {
    return;
  }
  try {
    WriteLine(Compose(level, format, arguments));
  } catch (...) {  // logging never throws: the line is lost
  }
}

std::string Logger::Compose(int level, const char* format, va_list arguments) {
  char message[4096] = {};
  std::vsnprintf(message, sizeof(message), format, arguments);
  return Prefix(level) + message;
}

std::string Logger::Prefix(int level) {
  static constexpr std::array<const char*, 6> kLevels = {
      "DebugThread: ", "Debug: ", "Tracking: ", "Info: ", "Warning: ", "Error: "};

  std::string prefix;
  if (!m_bSyslog && m_bIncludeDateTime) {
    prefix += DateTime(std::time(nullptr)).FormatDateTime() + " ";
  }
  if (!m_bSyslog && m_bIncludeThreadID) {
    std::array<char, 16> thread{};
    std::snprintf(thread.data(), thread.size(), "[%3u] ",
                  static_cast<unsigned int>(pthread_self()));
    prefix += thread.data();
  }
  if (m_bIncludeLogLevel && level >= DebugThread && level <= Error) {
    prefix += kLevels[static_cast<std::size_t>(level)];
  }
  return prefix;
}

void Logger::WriteLine(const std::string& line) {
  const Mutex guard(m_MutexInstance, true);
  if (m_sLogFileLocation.empty()) {
    return;
  }
  WriteToSink(line);
  WriteToConsole(line);
}

void Logger::WriteToConsole(const std::string& line) {
  if (!m_bToConsole) {
    return;
  }
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
}

}  // namespace fwk
