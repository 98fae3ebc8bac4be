#include "framework/Utilities/LineReader.h"

LineReader::LineReader(const std::string& path, std::size_t limit)
    : m_file(std::fopen(path.c_str(), "re")), m_limit(limit) {}

bool LineReader::IsOpen() const {
  return m_file != nullptr;
}

bool LineReader::Next(std::string& line) {
  line.clear();
  if (!IsOpen()) {
    return false;
  }
  int c = std::getc(m_file.get());
  if (c == EOF) {
    return false;
  }
  while (c != EOF && c != '\n') {
    if (line.size() < m_limit) {
      line.push_back(static_cast<char>(c));
    }
    c = std::getc(m_file.get());
  }
  if (c == EOF && HasFailed()) {
    line.clear();
    return false;
  }
  return true;
}

bool LineReader::HasFailed() const {
  return IsOpen() && std::ferror(m_file.get()) != 0;
}
