// InputFile is the input of a run, opened.

#pragma once

#include <optional>
#include <string>

class InputFile {
 public:
  // Opens the file at `path`; nothing: takes standard input. Throws a StdException when it cannot
  // be opened or is a directory.
  explicit InputFile(const std::optional<std::string>& path);
  ~InputFile();

  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  int GetDescriptor() const { return m_descriptor; }

  // Returns its name for messages.
  const std::string& GetName() const { return m_name; }

 private:
  std::string m_name;
  int m_descriptor;
};
