// Settings is the checked configuration of the service, as spf-policyd.conf(5) describes it.
//
// An object never changes after it was loaded, so requests share one. Only the thread that uses
// Config may call Load().

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
  DomainList refuse{""};                  // domains whose forged mail is refused
  NetworkList skip{""};                   // networks whose clients are not checked
  std::string host;                       // the name of this host in the header
  std::chrono::milliseconds timeLimit{};  // of one check
  std::uint32_t lookUps = 0;              // of one check
  std::size_t connections = 0;            // the most at once
  bool isTrial = true;                    // log, and answer DUNNO
  std::string nameServer;                 // empty: that of the system
  bool hasSyslog = false;                 // log to the system log
  std::string logging;                    // the beginning of the log files' names
  int logLevel = 0;

  // Returns the settings in Config, which was loaded from the file at `path`. Throws a StdException
  // that says what is malformed and where.
  static std::shared_ptr<const Settings> Load(const std::string& path);

  // Returns the keys that differ from `other` and take effect only at the start of the program.
  std::vector<std::string> FindRestartKeys(const Settings& other) const;

  // Returns each setting in Config, or its default, as a line "key=value".
  static std::string Describe();
};
