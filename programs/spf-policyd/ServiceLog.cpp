#include "programs/spf-policyd/ServiceLog.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

#include "tool/Printable.h"

namespace {

// A level above all levels of the framework; its lines have no prefix.
constexpr int kServiceLevel = fwk::Error + 1;

constexpr std::size_t kLongestLine = 2000;

const char* NameOf(fwk::LogLevel level) {
  switch (level) {
    case fwk::Warning:
      return "Warning: ";
    case fwk::Error:
      return "Error: ";
    default:
      return level == fwk::Info ? "Info: " : "Debug: ";
  }
}

}  // namespace

void ServiceLog::SetUp(const Settings& settings) {
  m_level = settings.logLevel;
  fwk::Logger::m_bSyslog = settings.hasSyslog;
  fwk::Logger::Init(settings.logging.c_str(), kServiceLevel, true, false);
}

std::string ServiceLog::FindFault(const Settings& settings) {
  if (settings.hasSyslog || settings.logging.empty()) {
    return "";
  }
  const std::string path = settings.logging + "current.log";
  const int descriptor = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
  if (descriptor < 0) {
    return "cannot write the log " + path + ": " + std::strerror(errno);
  }
  close(descriptor);
  return "";
}

void ServiceLog::Write(fwk::LogLevel level, const std::string& text) noexcept {
  if (level < m_level) {
    return;
  }
  try {
    const std::string line = NameOf(level) + ToPrintable(text, kLongestLine);
    fwk::Logger::Log(kServiceLevel, "%s", line.c_str());
    LimitBacklog();
  } catch (...) {  // out of memory: the line is lost
  }
}

// Waits for the logging thread; writers that arrive meanwhile wait, too.
void ServiceLog::LimitBacklog() {
  if (++m_lines < kBacklog) {
    return;
  }
  const Mutex guard(m_mutex, true);
  if (m_lines >= kBacklog) {
    fwk::Logger::Drain(std::chrono::seconds(1));
    m_lines = 0;
  }
}

bool ServiceLog::End() {
  const bool isWritten = fwk::Logger::Drain(std::chrono::seconds(10));
  fwk::Logger::StopAsync();
  return isWritten;
}
