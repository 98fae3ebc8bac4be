#include "framework/core/StringFormat.h"

#include <cstdarg>
#include <cstdio>

namespace {

// The large buffer is in a function of its own: clang 14, when it probes the stack, loses the
// floating-point arguments of a variadic function with such a buffer.
[[gnu::noinline]] __attribute__((format(printf, 1, 0))) std::string FormatWhole(const char* format,
                                                                                va_list arguments) {
  char buffer[1048576] = {};
  std::vsnprintf(buffer, sizeof(buffer), format, arguments);
  return buffer;
}

}  // namespace

StringFormat::StringFormat(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  m_text = FormatWhole(format, arguments);
  va_end(arguments);
}

StringFormat::~StringFormat() = default;

std::string StringFormat::GetString() const {
  return m_text;
}
