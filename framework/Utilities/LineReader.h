// LineReader reads a text file line by line, if wanted with a bound on what it keeps of a line.
//
// Internal to the framework and the programs. One thread at a time. Reading blocks as the file
// does; the end of the file or a failed read ends it, so a caller's loop ends too.

#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

#include "framework/core/Export.h"

class FWK_EXPORT LineReader {
 public:
  // A limit for lines that are kept whole.
  static constexpr std::size_t kNoLimit = std::string::npos;

  // Opens the file at path. limit: how many bytes of a line are kept; the rest of it, to its line
  // feed, is dropped.
  LineReader(const std::string& path, std::size_t limit);

  // Whether the file was opened; if not, errno is that of the open right after construction.
  bool IsOpen() const;

  // Reads the next line, without its line feed, into line. False at the end of the file, after a
  // failed read, and when the file is not open; line is then empty. A read that fails in the middle
  // of a line drops what was read of it.
  bool Next(std::string& line);

  // Whether a read failed (and not only met the end).
  bool HasFailed() const;

 private:
  struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  std::unique_ptr<std::FILE, Closer> m_file;
  std::size_t m_limit;
};
