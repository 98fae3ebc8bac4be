#include "framework/logging/LogSyslog.h"

#include <syslog.h>

namespace fwk {

LogSyslog::~LogSyslog() {
  closelog();
}

}  // namespace fwk
