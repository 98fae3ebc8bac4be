// StringFormat makes a std::string from a printf format and its arguments, for the texts of
// exceptions and log lines. Use it as a temporary: StringFormat("%s:%d", host, port).GetString().
//
// Any thread with more than 1 MiB of stack may use it, because the working buffer is on the stack.
// Nothing blocks.

#pragma once

#include <string>

#include "framework/core/Export.h"

class FWK_EXPORT StringFormat {
 public:
  // Formats the arguments like printf(3). Output longer than 1,048,575 characters is cut silently;
  // a zero byte in the output ends the text.
  __attribute__((format(printf, 2, 3))) explicit StringFormat(const char* format, ...);
  virtual ~StringFormat();

  // Returns the formatted text.
  std::string GetString() const;

 private:
  std::string m_text;
};
