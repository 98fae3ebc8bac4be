// The string operations that the rest of the framework shares: tokens, trimming, case, decimal
// numbers, cleaning of text, numeric character references.
//
// None keeps state; any thread may use them, on strings of its own (the two that encode need more
// than 1 MiB of stack, as StringFormat does). All return new strings, except GetToken, which also
// shortens its source. Nothing blocks.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "framework/core/Export.h"

// Cuts the next token off the front of source and returns it, together with the one delimiter
// behind it, which is dropped. The search starts at the second character: a delimiter in first
// place belongs to the token. So of two delimiters between words the second stays in front of the
// next token, and of three the middle one is a token of its own. Without a delimiter the whole
// source is the token; an empty source gives an empty token.
FWK_EXPORT std::string GetToken(char delimiter, std::string& source);

// As above, off a view: nothing is moved, however long the rest is.
FWK_EXPORT std::string_view GetToken(char delimiter, std::string_view& source);

// A text without the characters of a set at its two ends; inside the text they stay.
class FWK_EXPORT Trim {
 public:
  // set: a C string, so it cannot hold the character 0.
  Trim(std::string source, const char* set);

  // The trimmed text up to its first zero byte.
  std::string CopyCString() const;

 private:
  std::string m_text;
  std::uint32_t m_end;  // length of the text; all bits set when nothing was left
};

// Case by the C library's toupper and tolower: in the default locale only A to Z and a to z change.
FWK_EXPORT std::string ToUpper(const std::string& source);
FWK_EXPORT std::string ToLower(const std::string& source);

// The decimal number that text holds, wrapping silently past 32 bits.
//
// Strict (lenient false): anything but digits throws. Lenient: a "." is skipped ("1.5" gives 15)
// and any other character ends the number.
// Throws std::invalid_argument "zero-length string" for an empty text, lenient or not, and
// "non-digit character" as above.
FWK_EXPORT std::uint32_t StringToUnsigned(const std::string& text, bool lenient);

// As StringToUnsigned, with an optional "+" or "-" in front. A text that is only the sign throws
// std::invalid_argument "sign-only string", lenient or not.
FWK_EXPORT std::int32_t StringToInt(const std::string& text, bool lenient);

// StringToInt, strict; defaultValue when the text is empty or not a number.
FWK_EXPORT std::int32_t StringToIntOr(const std::string& text, std::int32_t defaultValue);

// source without most of what a terminal should not see: keeps printable ASCII, tab, line feed,
// carriage return (so a text can still make lines of its own) and complete UTF-8 sequences (RFC
// 3629, section 3), and drops every other byte by itself. It is lenient on purpose: overlong forms
// and surrogates pass, and the bytes 127 to 193 count as leads of three-byte sequences. The C1
// controls (0xC2 0x80 to 0xC2 0x9F) are dropped.
FWK_EXPORT std::string SanitiseUtf8(const std::string& source);

// source with every character of set (a C string) replaced by its numeric character reference,
// "&#" and at least three decimal digits and ";". The code is that of the signed byte printed
// unsigned: byte 200 gives "&#4294967240;". The text in front of a reference, from the one before
// it, goes through StringFormat: it ends at its first zero byte, and where it is as long as that
// formats the reference is cut off. Each reference costs a formatting call.
FWK_EXPORT std::string EncodeChars(const std::string& source, const char* set);

// As EncodeChars, for every character that is not an ASCII letter, a digit, a blank or one of
// ":;/&#.?=_-,". Text that is encoded already passes unchanged.
FWK_EXPORT std::string EncodeUnsafeChars(const std::string& source);
