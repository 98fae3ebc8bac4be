// WrittenLines reads what an earlier run has written into a file, line by line, and only whole
// lines.
//
// One thread at a time. Blocks as the file does.

#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "programs/spf-bulk/LineSource.h"

class WrittenLines {
 public:
  // Opens the file at `path`. Throws a StdException when that fails.
  explicit WrittenLines(const std::string& path);
  ~WrittenLines();

  WrittenLines(const WrittenLines&) = delete;
  WrittenLines& operator=(const WrittenLines&) = delete;

  // Returns whether there is another line, which `line` then is until it is accepted. Where there
  // is none, `line` is what follows the last one.
  bool Peek(std::string_view& line);

  // Goes on after the line.
  void Accept();

  // Returns how many bytes the accepted lines have.
  off_t GetAccepted() const { return m_accepted; }

  // Returns the number of the line that Peek gave, counted from 1.
  std::uint64_t GetNumber() const { return m_source.GetLines(); }

  const std::string& GetName() const { return m_name; }

 private:
  std::string m_name;
  int m_descriptor;
  LineSource m_source;
  std::string_view m_line;
  bool m_isLoaded = false;
  off_t m_accepted = 0;
};
