// The prefixes of log lines as tests compare them.

#pragma once

#include <pthread.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>

// Returns `text` with each digit replaced by 0.
inline std::string WithoutDigits(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c >= '1' && c <= '9'; }, '0');
  return text;
}

// Returns the prefix of the lines that this thread logs.
inline std::string ThreadPrefix() {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "[%3u] ", static_cast<unsigned int>(pthread_self()));
  return text.data();
}
