#include "fuzz/MemoryFile.h"

#include <sys/mman.h>
#include <unistd.h>

#include "fuzz/Rules.h"

MemoryFile::MemoryFile(const std::string& content)
    : m_descriptor(memfd_create("fuzz", MFD_CLOEXEC)) {
  Require(
      write(m_descriptor, content.data(), content.size()) == static_cast<ssize_t>(content.size()),
      "the input can be written to a file");
}

MemoryFile::~MemoryFile() {
  close(m_descriptor);
}

std::string MemoryFile::Path() const {
  return "/proc/self/fd/" + std::to_string(m_descriptor);
}
