#include "fuzz/Rules.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

void Require(bool holds, const char* rule) {
  if (!holds) {
    std::fprintf(stderr, "does not hold: %s\n", rule);
    std::abort();
  }
}

bool IsClean(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](unsigned char byte) {
    return byte == '\t' || byte == '\n' || byte == '\r' || (byte >= 32 && byte < 245);
  });
}
