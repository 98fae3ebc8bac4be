#include "programs/spf-bulk/WrittenLines.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "framework/core/Exceptions.h"
#include "tool/Printable.h"

namespace {

constexpr std::size_t kLongestName = 200;   // in a message
constexpr std::size_t kLongestLine = 8192;  // longer than any that a run writes

}  // namespace

WrittenLines::WrittenLines(const std::string& path)
    : m_name(ToPrintable(path, kLongestName)),
      m_descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC)),
      m_source(m_descriptor, kLongestLine, m_name, -1) {
  if (m_descriptor < 0) {
    throw StdException("cannot open " + m_name + ": " + std::strerror(errno));
  }
}

WrittenLines::~WrittenLines() {
  close(m_descriptor);
}

bool WrittenLines::Peek(std::string_view& line) {
  if (!m_isLoaded) {
    m_line = {};
    m_isLoaded = m_source.Next(m_line) && m_source.HasLineFeed();
  }
  line = m_line;
  return m_isLoaded;
}

void WrittenLines::Accept() {
  m_isLoaded = false;
  m_accepted = static_cast<off_t>(m_source.GetBytes());
}
