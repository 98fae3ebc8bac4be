#include "programs/spf-bulk/WrittenLines.h"

namespace {

constexpr std::size_t kLongestLine = 8192;  // longer than any that a run writes

}  // namespace

WrittenLines::WrittenLines(const std::string& path)
    : m_file(path), m_source(m_file.GetDescriptor(), kLongestLine, m_file.GetName(), -1) {}

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
