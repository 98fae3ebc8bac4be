#include "tool/Printable.h"

std::string ToPrintable(std::string_view text, std::size_t limit) {
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const bool isPrintable = c >= ' ' && c <= '~';
    if (result.size() + (isPrintable ? 1 : 4) > limit) {
      return result + "...";
    }
    if (isPrintable) {
      result += c;
    } else {
      result += {'\\', static_cast<char>('0' + (byte >> 6)),
                 static_cast<char>('0' + (byte >> 3 & 7)), static_cast<char>('0' + (byte & 7))};
    }
  }
  return result;
}
