// Writes the logger's lines to the file of the day or the system log.

#include <syslog.h>

#include <cstdio>
#include <ctime>

#include "framework/Utilities/DateTime.h"
#include "framework/config/Environment.h"
#include "framework/logging/LogFile.h"
#include "framework/logging/Logger.h"

namespace fwk {

void Logger::WriteToSink(const std::string& line) {
  if (!m_bToFile) {
    return;
  }
  try {
    const std::string& path = GetLogFileName();
    if (m_bSyslog) {
      openlog(Environment::PRODUCT_NAME.c_str(), LOG_CONS | LOG_PID, LOG_USER);
      syslog(LOG_INFO, "%.*s", static_cast<int>(line.size() - 1), line.c_str());
      closelog();
    } else {
      LogFile file(path);
      file.Write(line);
      file.Close();
    }
  } catch (...) {  // the line is lost here, but the console still gets it
  }
}

const std::string& Logger::GetLogFileName() {
  const MutexRead guard(m_locationLock);
  m_livePath = m_sLogFileLocation;
  m_livePath += m_logFilename;
  m_datedPath = m_sLogFileLocation;
  m_datedPath += DateTime(std::time(nullptr)).FormatDate();
  m_datedPath += ".log";
  if (m_currentLog.empty()) {
    m_currentLog = m_datedPath;
  }
  if (m_datedPath != m_currentLog) {
    static_cast<void>(std::rename(m_livePath.c_str(), m_currentLog.c_str()));
    m_currentLog = m_datedPath;
  }
  return m_livePath;
}

}  // namespace fwk
