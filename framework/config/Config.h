// Config is the configuration store of the process: the entries of one file of key=value lines.
//
// Load it before other threads run; after that any thread may look up.

#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "framework/core/Export.h"

class FWK_EXPORT Config {
 public:
  Config() = delete;

  // Empties the store, then fills it with the entries of the file at path. Throws ConfigException
  // "Unable to read configuration file:" when the file exists but cannot be opened or read; the old
  // entries are gone then, and the store holds the whole lines that were read before the failure:
  // none, when the file could not be opened. A file that does not exist leaves an empty store.
  // Blocks as the file does.
  //
  // Of a line the first 1024 characters count, up to a zero byte and without the blanks, tabs and
  // carriage returns at their ends. It is skipped when it is empty, begins with "#", has no "=" or
  // begins with one.
  // A line that begins with "[" and holds a "]" starts a section, named by what stands between the
  // "[" and the last "]", trimmed as the line is. Only lines before the first section, in a section
  // without a name and in the one named subsection count.
  // The key is the text before the first "=", in lower case and not trimmed; the value is the
  // rest, trimmed, which may be empty. The last line with a key wins.
  static void Load(const std::string& path, const std::string& subsection);

  // The value of key, in whatever case it is given; defaultValue when the store does not have it.
  static std::string GetString(const std::string& key, const std::string& defaultValue);

  // The value as a decimal number, with a sign or without, wrapping silently past 32 bits;
  // defaultValue when the store does not have the key or its value is anything else.
  static std::int32_t GetInt(const std::string& key, std::int32_t defaultValue);

  inline static std::map<std::string, std::string> m_config;  // by key, in lower case
  inline static std::string m_configFilename;                 // the file last loaded
  inline static std::string m_subsection;                     // the section wanted of it

 private:
  static void Read();
  static void StoreEntry(const std::string& line);
};
