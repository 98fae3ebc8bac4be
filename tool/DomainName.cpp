#include "tool/DomainName.h"

#include <cstddef>

namespace {

constexpr std::size_t kLongestName = 253;
constexpr std::size_t kLongestLabel = 63;

}  // namespace

bool IsDomainName(std::string_view name) {
  std::size_t label = 0;
  for (const char c : name) {
    if (c == '.' ? label == 0 : label == kLongestLabel) {
      return false;
    }
    label = c == '.' ? 0 : label + 1;
  }
  return label != 0 && name.size() <= kLongestName;
}
