#include "framework/config/Config.h"

#include <cerrno>

#include "framework/Utilities/LineReader.h"
#include "framework/Utilities/StringUtilities.h"
#include "framework/core/Exceptions.h"

namespace {

constexpr std::size_t kMaxLine = 1024;
constexpr char kBlanks[] = " \n\r\t";

std::string Trimmed(const std::string& text) {
  return Trim(text, kBlanks).CopyCString();
}

bool IsMissing(int error) {
  return error == ENOENT || error == ENOTDIR;
}

[[noreturn]] void ThrowUnreadable() {
  throw ConfigException("Unable to read configuration file:");
}

}  // namespace

void Config::Load(const std::string& path, const std::string& subsection) {
  m_configFilename = path;
  m_subsection = subsection;
  m_config.clear();
  try {
    Read();
  } catch (...) {
    ThrowUnreadable();
  }
}

void Config::Read() {
  LineReader reader(m_configFilename, kMaxLine);
  if (!reader.IsOpen()) {
    if (IsMissing(errno)) {
      return;
    }
    ThrowUnreadable();
  }
  std::string section;
  std::string line;
  while (reader.Next(line)) {
    line = Trimmed(line);
    if (line.empty() || line.front() == '#') {
      continue;
    }
    const std::size_t close = line.rfind(']');
    if (line.front() == '[' && close != std::string::npos) {
      section = Trimmed(line.substr(1, close - 1));
    } else if (section.empty() || section == m_subsection) {
      StoreEntry(line);
    }
  }
  if (reader.HasFailed()) {
    ThrowUnreadable();
  }
}

void Config::StoreEntry(const std::string& line) {
  const std::size_t equals = line.find('=');
  if (equals == std::string::npos || equals == 0) {
    return;
  }
  m_config[ToLower(line.substr(0, equals))] = Trimmed(line.substr(equals + 1));
}

std::string Config::GetString(const std::string& key, const std::string& defaultValue) {
  const auto entry = m_config.find(ToLower(key));
  return entry != m_config.end() ? entry->second : defaultValue;
}

std::int32_t Config::GetInt(const std::string& key, std::int32_t defaultValue) {
  return StringToIntOr(GetString(key, ""), defaultValue);
}
