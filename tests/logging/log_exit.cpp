// Ends in the middle of its logging, in one of several states:
//   log_exit STATE

#include <cstdio>
#include <string_view>

#include "framework/config/Environment.h"
#include "framework/logging/Logger.h"

namespace {

void LogLines(int count) {
  for (int i = 0; i < count; ++i) {
    fwk::Logger::Log(fwk::Info, "line %d", i);
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  const std::string_view state = argc == 2 ? argv[1] : "";
  fwk::Logger::Init("./", fwk::DebugThread, false, false);
  if (state == "syslog-long-name") {
    Environment::PRODUCT_NAME.assign(100, 'x');  // too long to be held in the string itself
    fwk::Logger::m_bSyslog = true;
  }
  fwk::Logger::StartAsync();
  if (state == "running") {
    LogLines(3);
  } else if (state == "stopped") {
    LogLines(3);
    fwk::Logger::StopAsync();
    fwk::Logger::Log(fwk::Info, "stopped");
  } else if (state == "busy" || state == "syslog-long-name") {
    LogLines(2000);
  } else {
    std::fputs("Usage: log_exit running|stopped|busy|syslog-long-name\n", stderr);
    return 1;
  }
  return 0;
}
