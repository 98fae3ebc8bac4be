// ConfigurationFile finds the faults of a configuration file that its reader, Config, ignores, and
// knows the line of each key.
//
// A value type. The constructor blocks while it reads the file.

#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

class ConfigurationFile {
 public:
  // Reads the file at `path`, whose keys must be among `keys`. A missing file counts as empty.
  // Throws a StdException "PATH:LINE: ..." for a line that is neither blank, a comment nor
  // "key=value", for an unknown key, a named section, and a line of 1024 characters or more.
  ConfigurationFile(const std::string& path, const std::vector<std::string>& keys);

  // Returns where `key` was last set, as "PATH:LINE"; just PATH if it was not set.
  std::string WhereIs(const std::string& key) const;

 private:
  void TakeLine(const std::string& line, const std::vector<std::string>& keys);
  [[noreturn]] void Refuse(const std::string& reason) const;

  std::string m_path;
  std::size_t m_line = 0;                    // the number of the current line
  std::map<std::string, std::size_t> m_set;  // the line of each key
};
