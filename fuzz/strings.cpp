// Runs the string operations. The first line of the input is the set of characters to encode.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "framework/Utilities/StringUtilities.h"
#include "fuzz/Budget.h"
#include "fuzz/Rules.h"

namespace {

constexpr Budget::Limits kLimits{
    .microseconds = 50000, .microsecondsPerByte = 100, .bytes = 16384, .bytesPerByte = 2048};
constexpr std::size_t kLongestEncoded = 16;  // each reference costs a formatting call

void CheckTokens(const std::string& text) {
  std::string rest = text;
  while (!rest.empty()) {
    const std::string before = rest;
    const std::string token = GetToken(' ', rest);
    Require(!token.empty() && token.find(' ', 1) == std::string::npos,
            "a token is not empty and ends before a blank");
    const bool separated = token.size() < before.size();
    Require(token + (separated ? " " : "") + rest == before, "a token and its blank are removed");
  }
}

void CheckTrim(const std::string& text) {
  constexpr char kSet[] = " @>\t\r\n";
  const std::string trimmed = Trim(text, kSet).CopyCString();
  Require(text.find(trimmed) != std::string::npos, "trimming only removes");
  Require(trimmed.find_first_of(kSet) != 0, "a trimmed text does not begin with one of the set");
  Require(trimmed.find('\0') == std::string::npos, "a trimmed text has no zero byte");
}

template <typename Parse>
auto Parsed(Parse parse, const std::string& text, bool lenient) {
  try {
    return std::optional(parse(text, lenient));
  } catch (const std::invalid_argument&) {
    return std::optional<decltype(parse(text, lenient))>();
  }
}

void CheckNumbers(const std::string& text) {
  for (const bool lenient : {false, true}) {
    const auto number = Parsed(StringToUnsigned, text, lenient);
    Require(!number || Parsed(StringToInt, "+" + text, lenient) == static_cast<int>(*number),
            "a plus changes nothing");
    Require(!number || Parsed(StringToInt, "-" + text, lenient) == static_cast<int>(0 - *number),
            "a minus negates");
  }
  const auto number = Parsed(StringToInt, text, false);
  Require(StringToIntOr(text, 1) == number.value_or(1), "without a number the default counts");
  Require(!number || StringToInt(std::to_string(*number), false) == *number,
          "a number is parsed as printed");
}

void CheckCase(const std::string& text) {
  const std::string lower = ToLower(text);
  const std::string upper = ToUpper(text);
  Require(ToLower(upper) == lower && ToUpper(lower) == upper, "case can be converted both ways");
  Require(lower.size() == text.size(), "case changes no length");
}

void CheckCleaning(const std::string& text) {
  const std::string clean = SanitiseUtf8(text);
  Require(clean.size() <= text.size() && IsClean(clean), "cleaning leaves clean text");
  Require(SanitiseUtf8(clean) == clean, "clean text is unchanged");
}

void CheckEncoding(const std::string& text, const std::string& set) {
  const std::string encoded = EncodeChars(text, set.c_str());
  Require(text.find_first_of(set.c_str()) != std::string::npos || encoded == text,
          "a text without characters of the set is unchanged");
  const std::string safe = EncodeUnsafeChars(text);
  Require(safe.find_first_of("<>\"'%+\t\r\n") == std::string::npos, "no unsafe character stays");
  Require(EncodeUnsafeChars(safe) == safe, "encoded text is unchanged");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Budget budget(kLimits, size);
  std::string text(data, data + size);
  const std::string set = text.substr(0, text.find('\n'));
  text.erase(0, std::min(set.size() + 1, text.size()));

  CheckTokens(text);
  CheckTrim(text);
  CheckNumbers(text);
  CheckCase(text);
  CheckCleaning(text);
  CheckEncoding(text.substr(0, kLongestEncoded), set);
  return 0;
}
