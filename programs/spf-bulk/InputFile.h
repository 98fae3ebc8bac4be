// InputFile opens a file to read.

#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

class InputFile {
 public:
  // Opens the file at `path`; without a path: uses standard input. Throws a StdException if it
  // cannot be opened or is a directory.
  explicit InputFile(const std::optional<std::string>& path);
  ~InputFile();

  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  int GetDescriptor() const { return m_descriptor; }

  // Returns the position at which reading begins; -1 if the input has none.
  off_t GetBegin() const { return m_begin; }

  // Returns its name for messages.
  const std::string& GetName() const { return m_name; }

 private:
  std::string m_name;
  int m_descriptor;
  off_t m_begin = -1;
};
