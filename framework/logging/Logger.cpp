#include "framework/logging/Logger.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <string_view>
#include <utility>

#include "framework/Utilities/DateTime.h"
#include "framework/logging/LogFile.h"

namespace fwk {

namespace {

constexpr std::size_t kLongestPrefix = 46;  // "2024-03-01 14:05:09 [4294967295] DebugThread: "

}  // namespace

void Logger::Init(const char* location, unsigned short level, bool includeDateTime,
                  bool includeThreadID) noexcept {
  try {
    const Mutex guard(m_MutexInstance, true);
    {
      const MutexWrite locationGuard(m_locationLock);
      m_sLogFileLocation = location != nullptr ? location : "";
    }
    m_LogLevel = static_cast<std::int16_t>(level);
    m_bIncludeDateTime = includeDateTime;
    m_bIncludeThreadID = includeThreadID;
  } catch (...) {  // logging never throws: the settings stay unchanged
  }
}

void Logger::Log(int level, const char* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  ComposeAndDeliver(level, format, arguments, Delivery::kMayQueue);
  va_end(arguments);
}

void Logger::LogSync(int level, const char* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  ComposeAndDeliver(level, format, arguments, Delivery::kAtOnce);
  va_end(arguments);
}

void Logger::ComposeAndDeliver(int level, const char* format, va_list arguments,
                               Delivery delivery) noexcept {
  if (m_LogLevel > level) {
    return;
  }
  try {
    if (!HasLocation()) {
      return;
    }
    std::string line = Compose(level, format, arguments);
    // An Error line must have been written when the call returns.
    if (delivery == Delivery::kMayQueue && level != Error && m_bAsync) {
      HandToThread(std::move(line));
    } else {
      WriteLine(std::move(line));
    }
  } catch (...) {  // logging never throws: the line is lost
  }
}

void Logger::WriteOnce(const std::string& path, const std::string& message) noexcept {
  try {
    if (m_logUnque.Find(message) != 0 || !HasLocation()) {
      return;
    }
    const Mutex guard(m_MutexInstance, true);
    if (m_logUnque.Find(message) != 0) {
      return;  // another thread has written it meanwhile
    }
    LogFile(path).WriteLine(message);
    m_logUnque.Insert(message);
  } catch (...) {  // logging never throws: the message is lost
  }
}

std::string Logger::Compose(int level, const char* format, va_list arguments) {
  char message[4096] = {};
  std::vsnprintf(message, sizeof(message), format, arguments);
  const std::string_view text = message;
  std::string line;
  line.reserve(kLongestPrefix + text.size() + 1);  // with the line feed that WriteLine() adds
  AppendPrefix(line, level);
  line += text;
  return line;
}

void Logger::AppendPrefix(std::string& line, int level) {
  static constexpr std::array<const char*, 6> kLevels = {
      "DebugThread: ", "Debug: ", "Tracking: ", "Info: ", "Warning: ", "Error: "};

  if (!m_bSyslog && m_bIncludeDateTime) {
    line += DateTime(std::time(nullptr)).FormatDateTime();
    line += ' ';
  }
  if (!m_bSyslog && m_bIncludeThreadID) {
    std::array<char, 16> thread{};
    std::snprintf(thread.data(), thread.size(), "[%3u] ",
                  static_cast<unsigned int>(pthread_self()));
    line += thread.data();
  }
  if (m_bIncludeLogLevel && level >= DebugThread && level <= Error) {
    line += kLevels[static_cast<std::size_t>(level)];
  }
}

bool Logger::HasLocation() {
  const MutexRead guard(m_locationLock);
  return !m_sLogFileLocation.empty();
}

void Logger::WriteLine(std::string line) {
  line.push_back('\n');
  const Mutex guard(m_MutexInstance, true);
  WriteToSink(line);
  WriteToConsole(line);
}

void Logger::WriteToConsole(const std::string& line) {
  if (!m_bToConsole) {
    return;
  }
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fflush(stdout);
}

}  // namespace fwk
