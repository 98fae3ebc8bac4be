// fwk::LogSyslog is a handle on the system log: the connection to it is closed when the object
// goes away. The logger's own lines do not need it; they open and close the log themselves.
//
// Any thread may make and destroy one; neither blocks.

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
