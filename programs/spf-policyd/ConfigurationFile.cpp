#include "programs/spf-policyd/ConfigurationFile.h"

#include <algorithm>

#include "framework/Utilities/LineReader.h"
#include "framework/Utilities/StringUtilities.h"
#include "framework/core/Exceptions.h"
#include "tool/Printable.h"

namespace {

constexpr std::size_t kTooLong = 1024;  // characters of a line; Config cuts a longer one

}  // namespace

ConfigurationFile::ConfigurationFile(const std::string& path, const std::vector<std::string>& keys)
    : m_path(path) {
  LineReader reader(path, kTooLong);
  std::string line;
  while (reader.Next(line)) {
    ++m_line;
    TakeLine(line, keys);
  }
}

void ConfigurationFile::TakeLine(const std::string& line, const std::vector<std::string>& keys) {
  if (line.size() >= kTooLong) {
    Refuse("a line of 1024 characters or more");
  }
  if (line.find('\0') != std::string::npos) {
    Refuse("a line with a zero byte");
  }
  const std::string text = Trim(line, " \n\r\t").CopyCString();
  if (text.empty() || text.front() == '#') {
    return;
  }
  if (text.front() == '[' && text.find(']') != std::string::npos) {
    Refuse("sections are not known here: " + ToPrintable(text, 80));
  }
  const std::size_t equals = text.find('=');
  if (equals == std::string::npos || equals == 0) {
    Refuse("neither key=value nor a comment: " + ToPrintable(text, 80));
  }
  const std::string key = ToLower(text.substr(0, equals));
  if (std::ranges::find(keys, key) == keys.end()) {
    const bool hasBlank = key.back() == ' ' || key.back() == '\t';
    Refuse("unknown key \"" + ToPrintable(key, 80) + "\"" +
           (hasBlank ? "; leave no blank before the \"=\"" : ""));
  }
  m_set[key] = m_line;
}

std::string ConfigurationFile::WhereIs(const std::string& key) const {
  const auto found = m_set.find(key);
  return found != m_set.end() ? m_path + ":" + std::to_string(found->second) : m_path;
}

void ConfigurationFile::Refuse(const std::string& reason) const {
  throw StdException(m_path + ":" + std::to_string(m_line) + ": " + reason);
}
