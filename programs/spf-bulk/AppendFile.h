// AppendFile is a file that a run appends to: the output or the errors file. Appended text survives
// if the program is killed, but the last line may be incomplete.
//
// One thread at a time. Appending blocks as the file does.

#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

class AppendFile {
 public:
  // Opens the file at `path`, and creates it if needed; without a path: uses standard output.
  // Throws a StdException if it cannot be opened.
  explicit AppendFile(const std::optional<std::string>& path);
  ~AppendFile();

  AppendFile(const AppendFile&) = delete;
  AppendFile& operator=(const AppendFile&) = delete;

  // Locks a regular file until it is closed; does nothing for others and for standard output.
  // Throws a StdException if another run has locked it.
  void Lock() const;

  // Appends all of `text`. Throws a StdException on failure, possibly after writing part of it.
  void Append(std::string_view text);

  // Cuts a regular file to `size` bytes; does nothing for others. Throws a StdException on failure.
  void Cut(off_t size);

  // Closes the file. Throws a StdException if the system then reports a failed write.
  void Close();

  bool IsRegular() const;

  // Returns the size of a regular file; 0 for others.
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
