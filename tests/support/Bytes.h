// The bytes of messages.

#pragma once

#include <string>
#include <vector>

using Bytes = std::vector<unsigned char>;

inline Bytes ToBytes(const std::string& text) {
  return {text.begin(), text.end()};
}
