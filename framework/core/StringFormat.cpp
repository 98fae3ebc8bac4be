#include "framework/core/StringFormat.h"

#include <cstdarg>
#include <cstdio>

StringFormat::StringFormat(const char* format, ...) {
  char buffer[1048576] = {};
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(buffer, sizeof(buffer), format, arguments);
  va_end(arguments);
  m_text = buffer;
}

StringFormat::~StringFormat() = default;

std::string StringFormat::GetString() const {
  return m_text;
}
