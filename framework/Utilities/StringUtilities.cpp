#include "framework/Utilities/StringUtilities.h"

#include <algorithm>
#include <cctype>
#include <limits>
#include <stdexcept>
#include <utility>

#include "framework/core/StringFormat.h"

namespace {

using Byte = unsigned char;

std::string MapCharacters(const std::string& source, int (*map)(int)) {
  std::string result;
  result.reserve(source.size());
  for (const char c : source) {
    result.push_back(static_cast<char>(map(static_cast<Byte>(c))));
  }
  return result;
}

// Returns the number in `text` from position `first` on, as StringToUnsigned() describes it.
std::uint32_t ParseDigits(const std::string& text, std::size_t first, bool lenient) {
  std::uint32_t value = 0;
  for (std::size_t i = first; i < text.size(); ++i) {
    const char c = text[i];
    if (c >= '0' && c <= '9') {
      value = value * 10 + static_cast<std::uint32_t>(c - '0');
    } else if (!lenient) {
      throw std::invalid_argument("non-digit character");
    } else if (c != '.') {
      break;
    }
  }
  return value;
}

// Returns how many continuation bytes SanitiseUtf8() wants after `lead`, or 0 if it drops `lead`.
std::size_t ContinuationBytes(Byte lead) {
  if (lead < 127 || lead > 244) {
    return 0;
  }
  if (lead >= 240) {
    return 3;
  }
  return lead >= 194 && lead <= 223 ? 1 : 2;
}

bool HasContinuation(const std::string& text, std::size_t lead, std::size_t count) {
  if (text.size() - lead <= count) {
    return false;
  }
  const auto* const first = text.data() + lead + 1;
  return std::all_of(first, first + count, [](char c) { return (static_cast<Byte>(c) >> 6) == 2; });
}

bool IsKeptAscii(Byte b) {
  return (b >= 32 && b < 127) || b == '\t' || b == '\n' || b == '\r';
}

// Replaces every character that `find` finds; `find` searches from a given position on.
template <typename Find>
std::string EncodeFound(const std::string& source, Find find) {
  std::string result;
  std::size_t begin = 0;
  for (std::size_t hit = find(begin); hit != std::string::npos; hit = find(begin)) {
    const std::string between = source.substr(begin, hit - begin);
    const auto code = static_cast<unsigned int>(static_cast<signed char>(source[hit]));
    result += StringFormat("%s&#%03u;", between.c_str(), code).GetString();
    begin = hit + 1;
  }
  return result + source.substr(begin);
}

}  // namespace

std::string GetToken(char delimiter, std::string& source) {
  std::string_view rest = source;
  std::string token(GetToken(delimiter, rest));
  source.erase(0, source.size() - rest.size());
  return token;
}

std::string_view GetToken(char delimiter, std::string_view& source) {
  const std::size_t end = source.find(delimiter, 1);
  const std::string_view token = source.substr(0, end);
  source.remove_prefix(end == std::string_view::npos ? source.size() : end + 1);
  return token;
}

Trim::Trim(std::string source, const char* set)
    : m_text(std::move(source)), m_end(std::numeric_limits<std::uint32_t>::max()) {
  const std::size_t first = m_text.find_first_not_of(set);
  if (first == std::string::npos) {
    m_text.clear();
    return;
  }
  m_text.erase(0, first);
  m_text.erase(m_text.find_last_not_of(set) + 1);
  m_end = static_cast<std::uint32_t>(m_text.size());
}

std::string Trim::CopyCString() const {
  return m_text.substr(0, m_text.find('\0'));
}

std::string ToUpper(const std::string& source) {
  return MapCharacters(source, std::toupper);
}

std::string ToLower(const std::string& source) {
  return MapCharacters(source, std::tolower);
}

std::uint32_t StringToUnsigned(const std::string& text, bool lenient) {
  if (text.empty()) {
    throw std::invalid_argument("zero-length string");
  }
  return ParseDigits(text, 0, lenient);
}

std::int32_t StringToInt(const std::string& text, bool lenient) {
  if (text.empty()) {
    throw std::invalid_argument("zero-length string");
  }
  const bool negative = text.front() == '-';
  const bool sign = negative || text.front() == '+';
  if (sign && text.size() == 1) {
    throw std::invalid_argument("sign-only string");
  }
  const std::uint32_t value = ParseDigits(text, sign ? 1 : 0, lenient);
  return static_cast<std::int32_t>(negative ? 0 - value : value);
}

std::int32_t StringToIntOr(const std::string& text, std::int32_t defaultValue) {
  if (text.empty()) {
    return defaultValue;
  }
  try {
    return StringToInt(text, false);
  } catch (const std::invalid_argument&) {
    return defaultValue;
  }
}

std::string SanitiseUtf8(const std::string& source) {
  std::string result;
  result.reserve(source.size());
  std::size_t i = 0;
  while (i < source.size()) {
    const auto b = static_cast<Byte>(source[i]);
    const std::size_t count = ContinuationBytes(b);
    if (count == 0) {
      if (IsKeptAscii(b)) {
        result.push_back(source[i]);
      }
      ++i;
    } else if (!HasContinuation(source, i, count)) {
      ++i;
    } else {
      const bool c1Control = b == 194 && static_cast<Byte>(source[i + 1]) < 160;
      if (!c1Control) {
        result.append(source, i, count + 1);
      }
      i += count + 1;
    }
  }
  return result;
}

std::string EncodeChars(const std::string& source, const char* set) {
  return EncodeFound(source, [&](std::size_t begin) { return source.find_first_of(set, begin); });
}

std::string EncodeUnsafeChars(const std::string& source) {
  static constexpr char kAllowed[] =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789:;/&#.?=_-, ";
  return EncodeFound(source,
                     [&](std::size_t begin) { return source.find_first_not_of(kAllowed, begin); });
}
