// String operations: tokens, trimming, case, decimal numbers, cleaning and character references.
//
// Any thread may call them. EncodeChars() and EncodeUnsafeChars() need more than 1 MiB of stack
// (StringFormat.h). Nothing blocks.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "framework/core/Export.h"

// Removes the first token and the delimiter after it from `source`, and returns the token. Returns
// all of `source` if there is no delimiter.
//
// The search for the delimiter starts at the second character, so a delimiter at the first place
// belongs to the token: of two delimiters between words the second begins the next token, and of
// three the middle one is a token.
FWK_EXPORT std::string GetToken(char delimiter, std::string& source);

// Does the same with a view, without copying the rest of the text.
FWK_EXPORT std::string_view GetToken(char delimiter, std::string_view& source);

// Trim removes the characters of a set from both ends of a text.
class FWK_EXPORT Trim {
 public:
  // Trims `source`. `set` is a C string, so it cannot have a zero byte.
  Trim(std::string source, const char* set);

  // Returns the trimmed text, up to its first zero byte.
  std::string CopyCString() const;

 private:
  std::string m_text;
  std::uint32_t m_end;  // length of the text; all bits set when nothing was left
};

// Returns `source` with every character passed through toupper(3) or tolower(3). In the default
// locale only A to Z and a to z change.
FWK_EXPORT std::string ToUpper(const std::string& source);
FWK_EXPORT std::string ToLower(const std::string& source);

// Returns the decimal number in `text`, modulo 2^32. If `lenient` is true, dots are skipped ("1.5"
// is 15) and any other character ends the number. Throws std::invalid_argument "zero-length string"
// for an empty text and, unless `lenient` is true, "non-digit character".
FWK_EXPORT std::uint32_t StringToUnsigned(const std::string& text, bool lenient);

// Does the same for a number that may have a "+" or "-" before it. Also throws
// std::invalid_argument "sign-only string".
FWK_EXPORT std::int32_t StringToInt(const std::string& text, bool lenient);

// Returns the number in `text`, as StringToInt() reads it when it is not lenient, or `defaultValue`
// where that throws.
FWK_EXPORT std::int32_t StringToIntOr(const std::string& text, std::int32_t defaultValue);

// Returns `source` without most bytes that are unfit for a terminal. Keeps printable ASCII, tab,
// line feed, carriage return (so a text may still have several lines) and complete UTF-8 sequences
// (RFC 3629, section 3) other than C1 controls (0xC2 0x80 to 0xC2 0x9F). It is deliberately
// lenient: overlong forms and surrogates are kept, and bytes from 127 to 193 count as the first of
// three.
FWK_EXPORT std::string SanitiseUtf8(const std::string& source);

// Returns `source` with every character of `set`, a C string, replaced by its numeric character
// reference: "&#", at least three decimal digits and ";". The code is the signed byte printed as
// unsigned: byte 200 becomes "&#4294967240;".
//
// The text between two references goes through StringFormat, so it ends at its first zero byte, and
// a reference after a text as long as StringFormat allows is cut off.
FWK_EXPORT std::string EncodeChars(const std::string& source, const char* set);

// Does the same for every character that is not an ASCII letter, a digit, a blank or one of
// ":;/&#.?=_-,". Text that is already encoded stays unchanged.
FWK_EXPORT std::string EncodeUnsafeChars(const std::string& source);
