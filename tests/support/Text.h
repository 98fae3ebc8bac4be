#pragma once

#include <string>
#include <vector>

// Returns `lines`, each with an end of line.
inline std::string Lines(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) {
    text += line + "\n";
  }
  return text;
}

// Returns the last line of a text, with its end of line.
inline std::string LastLine(const std::string& text) {
  const std::size_t end = text.size() < 2 ? std::string::npos : text.rfind('\n', text.size() - 2);
  return text.substr(end == std::string::npos ? 0 : end + 1);
}

inline std::string Repeat(const std::string& text, int times) {
  std::string result;
  for (int i = 0; i < times; ++i) {
    result += text;
  }
  return result;
}
