#include "programs/spf-policyd/PolicyRequest.h"

#include "framework/core/Exceptions.h"

bool PolicyRequest::Take(char byte) {
  if (++m_size > kMaxSize) {
    throw StdException("request too long");
  }
  if (byte != '\n') {
    if (m_line.size() == kMaxLine) {
      throw StdException("line too long");
    }
    m_line += byte >= ' ' && byte <= '~' ? byte : '?';
    return false;
  }
  if (!m_line.empty()) {
    TakeLine();
    return false;
  }
  if (m_attributes.empty()) {
    throw StdException("request without an attribute");
  }
  return true;
}

void PolicyRequest::TakeLine() {
  const std::size_t equals = m_line.find('=');
  if (equals == std::string::npos) {
    throw StdException("line without \"=\"");
  }
  m_attributes[m_line.substr(0, equals)] = m_line.substr(equals + 1);
  if (m_attributes.size() > kMaxAttributes) {
    throw StdException("too many attributes");
  }
  m_line.clear();
}

std::string PolicyRequest::Get(const std::string& name) const {
  const auto found = m_attributes.find(name);
  return found != m_attributes.end() ? found->second : "";
}
