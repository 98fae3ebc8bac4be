// Settings for tests that decide in their own process.

#pragma once

#include <chrono>
#include <string>

#include "programs/spf-policyd/Settings.h"

// Returns the defaults, not on trial, for the host mail.test.
inline Settings MakeSettings(const std::string& refuse = "") {
  Settings settings;
  settings.refuse = DomainList(refuse);
  settings.skip = NetworkList("127.0.0.0/8");
  settings.host = "mail.test";
  settings.timeLimit = std::chrono::seconds(20);
  settings.lookUps = 20;
  settings.connections = 1000;
  settings.isTrial = false;
  settings.logLevel = 3;
  return settings;
}
