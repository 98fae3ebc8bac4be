#include "programs/spf-bulk/ErrorEntry.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "programs/spf-bulk/SenderLine.h"
#include "tool/Printable.h"

std::string MakeErrorEntry(std::uint64_t number, std::string_view reason, std::string_view line) {
  std::string words(reason);
  std::replace(words.begin(), words.end(), ',', ';');
  return std::to_string(number) + "," + words + "," +
         ToPrintable(line.substr(0, SenderLine::kLongest), std::string::npos) + "\n";
}

std::uint64_t NumberOfErrorEntry(std::string_view entry) {
  std::uint64_t number = 0;
  const char* const end = entry.data() + entry.size();
  const auto [rest, error] = std::from_chars(entry.data(), end, number);
  return error == std::errc() && rest != end && *rest == ',' ? number : 0;
}
