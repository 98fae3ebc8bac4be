#include "framework/config/Environment.h"

#include "framework/Utilities/StringUtilities.h"
#include "framework/config/Config.h"
#include "framework/core/StringFormat.h"
#include "framework/logging/Logger.h"

Environment::Environment(const std::string& name, const std::string& version) {
  PRODUCT_NAME = ToLower(name);
  PRODUCT_VERSION = version;
  const std::string path = StringFormat("/etc/%s.conf", PRODUCT_NAME.c_str()).GetString();
  const std::string location = StringFormat("/var/log/%s/", PRODUCT_NAME.c_str()).GetString();
  Config::Load(path, "");
  m_logging = Config::GetString("logging", location);
  m_logLevel = static_cast<std::int16_t>(Config::GetInt("log_level", fwk::Info));
  fwk::Logger::Init(m_logging.c_str(), static_cast<unsigned short>(m_logLevel), true, true);
  const MutexWrite guard(m_MutexInstance);
  ++m_loadedVersion;
}

void Environment::ShowEnvironment() {
  fwk::Logger::Log(fwk::Info, "starting %s version %s", PRODUCT_NAME.c_str(),
                   PRODUCT_VERSION.c_str());
  fwk::Logger::Log(fwk::Info, "environment....");
  for (const auto& [key, value] : Config::m_config) {
    fwk::Logger::Log(fwk::Info, "%s::%s", key.c_str(), value.c_str());
  }
}

int Environment::GetLoadedVersion() {
  const MutexRead guard(m_MutexInstance);
  return m_loadedVersion;
}
