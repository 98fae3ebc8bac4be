// LineReader reads a text file line by line, with an optional limit on the length of a line.
//
// Internal to the framework and the programs. One thread at a time may use an object. Reading
// blocks like the file.

#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

#include "framework/core/Export.h"

class FWK_EXPORT LineReader {
 public:
  // The limit for reading lines of any length.
  static constexpr std::size_t kNoLimit = std::string::npos;

  // Opens the file at `path`. Of each line only the first `limit` bytes are kept.
  LineReader(const std::string& path, std::size_t limit);

  // Returns whether the file was opened. If it was not, errno says why right after construction.
  bool IsOpen() const;

  // Reads the next line into `line`, without its line feed. Returns false, with an empty `line`, at
  // the end of the file, after a failed read (even in the middle of a line), and if the file is not
  // open.
  bool Next(std::string& line);

  // Returns whether a read failed. The end of the file is not a failure.
  bool HasFailed() const;

 private:
  struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  std::unique_ptr<std::FILE, Closer> m_file;
  std::size_t m_limit;
};
