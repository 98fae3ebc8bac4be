// WrittenLines reads the complete lines that an earlier run has written to a file.
//
// One thread at a time. Blocks as the file does.

#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "programs/spf-bulk/InputFile.h"
#include "programs/spf-bulk/LineSource.h"

class WrittenLines {
 public:
  // Opens the file at `path`. Throws a StdException on failure.
  explicit WrittenLines(const std::string& path);

  // Returns whether there is another complete line, and sets `line` to it, or else to the rest of
  // the file. Returns the same line until it is accepted.
  bool Peek(std::string_view& line);

  // Continues after the line.
  void Accept();

  // Returns the number of bytes of the accepted lines.
  off_t GetAccepted() const { return m_accepted; }

  // Returns the number of the line that Peek() returned, counted from 1.
  std::uint64_t GetNumber() const { return m_source.GetLines(); }

  const std::string& GetName() const { return m_file.GetName(); }

 private:
  InputFile m_file;
  LineSource m_source;
  std::string_view m_line;
  bool m_isLoaded = false;
  off_t m_accepted = 0;
};
