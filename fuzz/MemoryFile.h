// MemoryFile is a file in memory, for code that reads files by their path.

#pragma once

#include <string>

class MemoryFile {
 public:
  explicit MemoryFile(const std::string& content);
  ~MemoryFile();

  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  // Returns the path, which exists as long as the object.
  std::string Path() const;

 private:
  int m_descriptor;
};
