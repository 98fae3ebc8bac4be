// fwk::LogSyslog closes the connection to the system log when it is destroyed. The logger does not
// need it: it opens and closes the system log for each line.
//
// Thread-safe; nothing blocks.

#pragma once

#include "framework/core/Export.h"

namespace fwk {

class FWK_EXPORT LogSyslog {
 public:
  LogSyslog() = default;
  virtual ~LogSyslog();

  LogSyslog(const LogSyslog&) = delete;
  LogSyslog& operator=(const LogSyslog&) = delete;
};

}  // namespace fwk
