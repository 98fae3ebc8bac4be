// Environment is the start-up of a program built on the framework: making one records the product's
// name and version, loads its configuration file and sets up the logger from it. All that it knows
// is static: there is one environment per process.
//
// Make it at the start of the program, and again to load the configuration anew, while no other
// thread uses the configuration or the product's name; GetLoadedVersion tells other threads that a
// load is complete. Making one blocks as reading a file does, ShowEnvironment as the logger does.

#pragma once

#include <cstdint>
#include <string>

#include "framework/core/Export.h"
#include "framework/core/Locks.h"
#include "framework/core/ThreadAnnotations.h"

class FWK_EXPORT Environment {
 public:
  // Loads /etc/NAME.conf, with name in lower case, whose key "logging" gives the logger's location
  // (/var/log/NAME/ without it) and "log_level" its level (3 without it, or when it is not a
  // number); log lines then carry date, time and thread. Only the low 16 bits of the level
  // count, as a signed number: 65541 is 5. Lines in a named section of the file are skipped.
  // A file that does not exist gives these defaults; one that cannot be read throws Config's
  // ConfigException, with the logger left as it was but the product's name and version set. The
  // configuration that was loaded before is gone then: the store is empty, or holds the lines
  // before the failure.
  Environment(const std::string& name, const std::string& version);

  // Logs, at Info: "starting %s version %s", "environment...." and for every entry of the
  // configuration, in the order of their keys, "%s::%s".
  static void ShowEnvironment();

  // How many times an environment was made, which is how often the configuration was loaded.
  static int GetLoadedVersion();

  // In lower case once an environment was made. Also the identity of lines in the system log.
  inline static std::string PRODUCT_NAME = "PRODUCT_NAME";
  // As the last environment was given it.
  inline static std::string PRODUCT_VERSION = "PRODUCT_VERSION";

  inline static std::string m_logging;        // the logger's location
  inline static std::int16_t m_logLevel = 2;  // the logger's level

  // What GetLoadedVersion tells, and its lock.
  inline static MutexReadWriteInstance m_MutexInstance;
  inline static std::int32_t m_loadedVersion FWK_GUARDED_BY(m_MutexInstance) = 0;
};
