#include "programs/spf-bulk/InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "framework/core/Exceptions.h"
#include "tool/Printable.h"

namespace {

constexpr std::size_t kLongestName = 200;  // in a message

}  // namespace

InputFile::InputFile(const std::optional<std::string>& path)
    : m_name(path ? ToPrintable(*path, kLongestName) : "standard input"),
      m_descriptor(path ? open(path->c_str(), O_RDONLY | O_CLOEXEC) : STDIN_FILENO) {
  struct stat status {};
  if (m_descriptor < 0 || fstat(m_descriptor, &status) != 0) {
    throw StdException("cannot open " + m_name + ": " + std::strerror(errno));
  }
  if (S_ISDIR(status.st_mode)) {
    throw StdException("cannot read " + m_name + ": " + std::strerror(EISDIR));
  }
  m_begin = lseek(m_descriptor, 0, SEEK_CUR);
}

InputFile::~InputFile() {
  if (m_descriptor > STDERR_FILENO) {
    close(m_descriptor);
  }
}
