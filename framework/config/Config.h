// Config is the configuration of the process: the entries of one file of "key=value" lines.
//
// Load it before other threads run; any thread may read it afterwards.

#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "framework/core/Export.h"

class FWK_EXPORT Config {
 public:
  Config() = delete;

  // Replaces all entries with those of the file at `path`, or removes them if the file does not
  // exist. Throws ConfigException "Unable to read configuration file:" if the file exists but
  // cannot be opened or read; the complete lines before the failure are then loaded. Blocks like
  // the file.
  //
  // Only the first 1024 characters of a line count, up to a zero byte; blanks, tabs and carriage
  // returns at both ends are trimmed. A line is skipped if it is empty, begins with "#" or "=", or
  // has no "=".
  //
  // A line that begins with "[" and has a "]" starts a section. The name of the section is the text
  // between the "[" and the last "]", trimmed in the same way. Entries are loaded from the lines
  // before the first section, from sections with an empty name and from the section `subsection`.
  //
  // The key is the text before the first "=", in lower case but not trimmed. The value is the rest,
  // trimmed, and may be empty. The last line with a key wins.
  static void Load(const std::string& path, const std::string& subsection);

  // Returns the value of `key`, in any case, or `defaultValue` if there is no such entry.
  static std::string GetString(const std::string& key, const std::string& defaultValue);

  // Returns the value as a decimal number with an optional sign, modulo 2^32, or `defaultValue` if
  // there is no such entry or its value is not a number.
  static std::int32_t GetInt(const std::string& key, std::int32_t defaultValue);

  inline static std::map<std::string, std::string> m_config;  // values by key, in lower case
  inline static std::string m_configFilename;                 // the file that was loaded last
  inline static std::string m_subsection;                     // the section that was loaded from it

 private:
  static void Read();
  static void StoreEntry(const std::string& line);
};
