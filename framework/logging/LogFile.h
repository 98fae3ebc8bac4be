// fwk::LogFile is a log file that is open for appending. The logger opens the file again for each
// line, so that it never writes to a file that was renamed or removed meanwhile.
//
// One thread at a time may use an object. Opening and writing block like the file system. Nothing
// is thrown: text is lost if the file cannot be opened or written.

#pragma once

#include <string>
#include <string_view>

#include "framework/core/Export.h"

namespace fwk {

class FWK_EXPORT LogFile {
 public:
  // Opens the file at `path`. Creates it, with mode 0666 before the umask, if it does not exist.
  explicit LogFile(const std::string& path);
  virtual ~LogFile();  // closes the file

  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  // Appends `line` and a line feed, if the system allows in one write(2), so that lines of several
  // processes do not mix. (The loggers of several processes must still not share a location, see
  // Logger.h.)
  void WriteLine(std::string_view line);

  // Appends `text` in the same way, without a line feed.
  void Write(std::string_view text);

  // Closes the file; text that is written afterwards is lost. May be called more than once.
  void Close();

 private:
  int m_descriptor;  // -1 if the file is not open
};

}  // namespace fwk
