// RandomString is a string of characters picked at random from an alphabet, for identifiers and
// probes. It draws from the C library's rand(): good enough to tell one probe from another, not
// for secrets.
//
// Any thread may make one; that blocks only for the lock of rand().

#pragma once

#include <atomic>
#include <string>

#include "framework/core/Export.h"

class FWK_EXPORT RandomString {
 public:
  // length characters of alphabet; none when length is 0 or negative. The first one made in a
  // process seeds the generator, with the time in seconds plus its length.
  // Throws std::invalid_argument "RandomString - empty alphabet" when there is nothing to draw
  // from.
  RandomString(const int& length, const std::string& alphabet);
  RandomString(const int& length, const char* alphabet);
  virtual ~RandomString();

  // The characters drawn.
  std::string GetString() const;

 private:
  inline static std::atomic<bool> m_seedDone{false};

  std::string m_text;
};
