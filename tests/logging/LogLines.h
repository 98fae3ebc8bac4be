// The lines that a program with a logging thread logs.

#pragma once

#include <sstream>
#include <string>
#include <vector>

using Lines = std::vector<std::string>;

inline const std::string kStart = "Debug: Logger::ObjectThreadMethod - start";
inline const std::string kEnd = "Debug: Logger::ObjectThreadMethod - end";

inline Lines Numbered(const std::string& text, int count) {
  Lines lines;
  for (int i = 0; i < count; ++i) {
    lines.push_back(text + std::to_string(i));
  }
  return lines;
}

inline Lines operator+(Lines first, const Lines& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

// Returns the lines of `text`; marks a last one without a line feed.
inline Lines LinesOf(const std::string& text) {
  std::istringstream stream(text);
  Lines lines;
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(stream.eof() ? line + " (without a line feed)" : line);
  }
  return lines;
}
