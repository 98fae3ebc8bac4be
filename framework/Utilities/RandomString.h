// RandomString is a string of random characters from an alphabet, for identifiers and probes. It
// uses the C library's rand(), which can tell one probe from another but is unfit for secrets.
//
// Thread-safe. Nothing blocks except the lock of rand().

#pragma once

#include <atomic>
#include <string>

#include "framework/core/Export.h"

class FWK_EXPORT RandomString {
 public:
  // Draws `length` characters from `alphabet`, or none if `length` is 0 or negative. The first
  // object in a process seeds the generator with the time in seconds plus `length`. Throws
  // std::invalid_argument "RandomString - empty alphabet" if characters are wanted but there are
  // none.
  RandomString(const int& length, const std::string& alphabet);
  RandomString(const int& length, const char* alphabet);
  virtual ~RandomString();

  // Returns the drawn characters.
  std::string GetString() const;

 private:
  inline static std::atomic<bool> m_seedDone{false};

  std::string m_text;
};
