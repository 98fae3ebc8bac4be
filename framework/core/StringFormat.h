// StringFormat makes a std::string from a printf format and its arguments, for exception and log
// texts. It is meant as a temporary: StringFormat("%s:%d", host, port).GetString().
//
// Any thread may use it that has more than 1 MiB of stack: the working buffer lives there. Nothing
// blocks.

#pragma once

#include <string>

#include "framework/core/Export.h"

class FWK_EXPORT StringFormat {
 public:
  // Formats at once. format: as printf takes it. At most 1,048,575 characters are kept, longer
  // output is cut silently; a zero byte that the format produces ends the text there.
  __attribute__((format(printf, 2, 3))) explicit StringFormat(const char* format, ...);
  virtual ~StringFormat();

  // What was formatted.
  std::string GetString() const;

 private:
  std::string m_text;
};
