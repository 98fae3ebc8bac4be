// Settings is the configuration of the service as spf-policyd.conf(5) describes it, read and
// checked.
//
// An object never changes once it was read, so requests share one. Load() is for the one thread
// that uses Config.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "programs/spf-policyd/DomainList.h"
#include "programs/spf-policyd/NetworkList.h"

struct Settings {
  std::string listen;                     // ADDRESS:PORT, or unix:PATH
  DomainList refuse{""};                  // whose failures are refused
  NetworkList skip{""};                   // whose clients are not checked
  std::string host;                       // in the header
  std::chrono::milliseconds timeLimit{};  // of one check
  std::uint32_t lookUps = 0;              // of one check
  std::size_t connections = 0;            // at once
  bool isTrial = true;                    // log, and answer DUNNO
  std::string nameServer;                 // empty: that of the system
  bool hasSyslog = false;                 // log to the system log
  std::string logging;                    // where the log files are
  int logLevel = 0;

  // Returns the settings that Config holds, which was loaded from the file at `path`. Throws a
  // StdException that says what is malformed and where.
  static std::shared_ptr<const Settings> Load(const std::string& path);

  // Returns the keys that differ from `other` and count at the start of the program only.
  std::vector<std::string> FindRestartKeys(const Settings& other) const;

  // Returns every setting that Config holds, or its default, as "key=value", one on a line.
  static std::string Describe();
};
