// Environment starts a program up: the constructor records the name and version of the product,
// loads its configuration file and sets up the logger from it. All data are static: a process has
// one environment.
//
// Make an object at the start of the program, and again to reload the configuration, while no other
// thread uses the configuration or the product's name. Other threads see by GetLoadedVersion() that
// a load is complete. The constructor blocks like the file, ShowEnvironment() like the logger.

#pragma once

#include <cstdint>
#include <string>

#include "framework/core/Export.h"
#include "framework/core/Locks.h"
#include "framework/core/ThreadAnnotations.h"

class FWK_EXPORT Environment {
 public:
  // Loads /etc/NAME.conf, where NAME is `name` in lower case, and sets up the logger: its location
  // is the entry "logging" (default /var/log/NAME/) and its level the entry "log_level" (default
  // 3); lines have the date, time and thread. Only the low 16 bits of the level count, as a signed
  // number: 65541 is 5. Named sections of the file are ignored. A file that does not exist counts
  // as an empty one.
  //
  // Throws as Config::Load() does. The product's name and version are then set, the configuration
  // is what Config::Load() leaves, and the logger is unchanged.
  Environment(const std::string& name, const std::string& version);

  // Logs at level Info "starting %s version %s", "environment....", and "%s::%s" for every entry of
  // the configuration, in the order of the keys.
  static void ShowEnvironment();

  // Returns how often the configuration was loaded.
  static int GetLoadedVersion();

  // The name of the product, set by the constructor in lower case. Lines in the system log have it.
  inline static std::string PRODUCT_NAME = "PRODUCT_NAME";
  // The version of the product, set by the constructor.
  inline static std::string PRODUCT_VERSION = "PRODUCT_VERSION";

  inline static std::string m_logging;        // the logger's location
  inline static std::int16_t m_logLevel = 2;  // the logger's level

  // The result of GetLoadedVersion(), and its lock.
  inline static MutexReadWriteInstance m_MutexInstance;
  inline static std::int32_t m_loadedVersion FWK_GUARDED_BY(m_MutexInstance) = 0;
};
