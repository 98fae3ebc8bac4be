// Where the logger's lines go besides the console: a file of the day, or the system log.

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
    const std::string path = GetLogFileName();
    if (m_bSyslog) {
      openlog(Environment::PRODUCT_NAME.c_str(), LOG_CONS | LOG_PID, LOG_USER);
      syslog(LOG_INFO, "%s", line.c_str());
      closelog();
    } else {
      LogFile file(path);
      file.WriteLine(line);
      file.Close();
    }
  } catch (...) {  // the line is lost; the console still gets it
  }
}

std::string Logger::GetLogFileName() {
  const MutexRead guard(m_locationLock);
  std::string live = m_sLogFileLocation + m_logFilename;
  const std::string dated = m_sLogFileLocation + DateTime(std::time(nullptr)).FormatDate() + ".log";
  if (m_currentLog.empty()) {
    m_currentLog = dated;
  }
  if (dated != m_currentLog) {
    static_cast<void>(std::rename(live.c_str(), m_currentLog.c_str()));
    m_currentLog = dated;
  }
  return live;
}

}  // namespace fwk
