// AppendFile is a file that a run appends to: the output or the errors file. What was appended
// stays when the program is killed; the last line may be cut then.
//
// One thread at a time. Appending blocks as the file does.

#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

class AppendFile {
 public:
  // Opens the file at `path`, or makes it; nothing: takes standard output. Throws a StdException
  // when it cannot be opened.
  explicit AppendFile(const std::optional<std::string>& path);
  ~AppendFile();

  AppendFile(const AppendFile&) = delete;
  AppendFile& operator=(const AppendFile&) = delete;

  // Locks a regular file, until it is closed; any other, and standard output, stays as it is.
  // Throws a StdException when another run has it locked.
  void Lock() const;

  // Appends all of `text`. Throws a StdException when that fails; a part may have been written.
  void Append(std::string_view text);

  // Cuts a regular file to `size` bytes; any other stays as it is. Throws a StdException when that
  // fails.
  void Cut(off_t size);

  // Closes the file. Throws a StdException when the system then tells that not all was written.
  void Close();

  // Returns whether it is a regular file.
  bool IsRegular() const;

  // Returns the size of a regular file; 0 for any other.
  off_t GetSize() const;

  // Returns whether `descriptor` is open on the same regular file.
  bool IsSameAs(int descriptor) const;

  int GetDescriptor() const { return m_descriptor; }
  const std::string& GetName() const { return m_name; }

 private:
  void WaitForRoom() const;
  [[noreturn]] void ThrowError(const std::string& action) const;

  std::string m_name;
  int m_descriptor;
};
