#include "programs/spf-policyd/SettingText.h"

#include <algorithm>

#include "framework/Utilities/StringUtilities.h"
#include "framework/core/Exceptions.h"

std::vector<std::string> SplitCommaList(const std::string& text) {
  std::vector<std::string> items;
  std::size_t begin = 0;
  while (!text.empty() && begin <= text.size()) {
    const std::size_t comma = std::min(text.find(',', begin), text.size());
    items.push_back(Trim(text.substr(begin, comma - begin), " \t").CopyCString());
    if (items.back().empty()) {
      throw StdException("an item of the list is empty");
    }
    begin = comma + 1;
  }
  return items;
}

int ReadDigits(const std::string& text, std::size_t longest) {
  const bool isNumber =
      text.size() <= longest && text.find_first_not_of("0123456789") == std::string::npos;
  return isNumber ? StringToIntOr(text, -1) : -1;
}
