#include "framework/logging/LogFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace fwk {

LogFile::LogFile(const std::string& path)
    : m_descriptor(open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666)) {}

LogFile::~LogFile() {
  Close();
}

void LogFile::WriteLine(std::string_view line) {
  Write(std::string(line) + '\n');
}

void LogFile::Write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(m_descriptor, text.data(), text.size());
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written <= 0) {
      return;
    }
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

void LogFile::Close() {
  if (m_descriptor >= 0) {
    close(m_descriptor);
    m_descriptor = -1;
  }
}

}  // namespace fwk
