// fwk::LogFile is a log file open for appending. It is made for each line anew, so that a file
// renamed or removed meanwhile is never written on.
//
// One thread at a time; the logger uses it with its lock held. Opening and writing block as the
// file system does; nothing is thrown: a file that cannot be opened or written loses what is
// written to it.

#pragma once

#include <string>
#include <string_view>

#include "framework/core/Export.h"

namespace fwk {

class FWK_EXPORT LogFile {
 public:
  // Opens path to append to it. An absent file is created, as far as the umask lets readable and
  // writable by all; an existing one keeps what it holds.
  explicit LogFile(const std::string& path);
  virtual ~LogFile();  // closes it

  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  // Appends line and a line feed, in one piece where the system takes it so: lines of several
  // processes do not mix. Loggers of several processes must not share a location all the same
  // (Logger.h).
  void WriteLine(std::string_view line);

  // Appends text as it is, as WriteLine does.
  void Write(std::string_view text);

  // Closes the file; what is written afterwards is lost. May be called again.
  void Close();

 private:
  int m_descriptor;  // -1 when the file is not open
};

}  // namespace fwk
