// ConfigurationFile finds in a configuration file what its reader (Config) would pass over in
// silence, and where a key was set.
//
// A value type. Making one blocks as the file does.

#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

class ConfigurationFile {
 public:
  // Reads the file at `path`, whose keys must be among `keys`. A file that does not exist is empty.
  // Throws a StdException "PATH:LINE: ..." for a line that is neither blank, a comment nor
  // "key=value", for an unknown key, a named section, and a line of 1024 characters or more.
  ConfigurationFile(const std::string& path, const std::vector<std::string>& keys);

  // Returns where `key` was set last, as "PATH:LINE", or PATH where it was not.
  std::string WhereIs(const std::string& key) const;

 private:
  void TakeLine(const std::string& line, const std::vector<std::string>& keys);
  [[noreturn]] void Refuse(const std::string& reason) const;

  std::string m_path;
  std::size_t m_line = 0;                    // the number of the line that is being read
  std::map<std::string, std::size_t> m_set;  // the line of each key
};
