// EncodeChars and EncodeUnsafeChars compared with an encoder that goes character by character.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "framework/Utilities/StringUtilities.h"
#include "tests/property/Random.h"

namespace {

const std::string kAllowed =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789:;/&#.?=_-, ";

// A byte above 127 is a negative number, whose code is taken modulo 2^32.
std::string Reference(char c) {
  const std::int64_t byte = static_cast<unsigned char>(c);
  std::string code = std::to_string(byte > 127 ? 4294967296 - 256 + byte : byte);
  while (code.size() < 3) {
    code.insert(0, 1, '0');
  }
  return "&#" + code + ";";
}

// A text before a reference ends at its first zero byte; the text after the last one does not.
template <typename IsEncoded>
std::string Encode(const std::string& source, IsEncoded isEncoded) {
  std::string result;
  std::string piece;
  for (const char c : source) {
    if (isEncoded(c)) {
      result += piece.substr(0, piece.find('\0')) + Reference(c);
      piece.clear();
    } else {
      piece.push_back(c);
    }
  }
  return result + piece;
}

bool Holds(const std::string& set, char c) {
  return set.find(c) != std::string::npos;
}

// Returns mostly characters that are not encoded: each reference costs a formatting call.
std::string AnyText(Random& random) {
  std::string text = random.Text(kAllowed, 30);
  for (int others = random.Between(0, 3); others > 0; --others) {
    const std::size_t at = random.Between(std::size_t{0}, text.size());
    text.insert(at, 1, random.OneIn(5) ? '\0' : random.Byte());
  }
  return text;
}

}  // namespace

TEST(EncodeCharsTest, CharactersOfASetAreReplacedOneByOne) {
  Random random;
  for (int i = 0; i < 1000; ++i) {
    const std::string text = AnyText(random);
    std::string set;
    for (int characters = random.Between(0, 3); characters > 0; --characters) {
      set.push_back(text.empty() || random.OneIn(3) ? random.Byte() : random.OneOf(text));
    }
    std::erase(set, '\0');
    ASSERT_EQ(EncodeChars(text, set.c_str()), Encode(text, [&](char c) { return Holds(set, c); }))
        << testing::PrintToString(text) << ", set " << testing::PrintToString(set);
  }
}

TEST(EncodeCharsTest, UnsafeCharactersAreReplacedOneByOneAndReferencesStay) {
  Random random;
  for (int i = 0; i < 1000; ++i) {
    const std::string text = AnyText(random);
    const std::string encoded = Encode(text, [](char c) { return !Holds(kAllowed, c); });
    ASSERT_EQ(EncodeUnsafeChars(text), encoded) << testing::PrintToString(text);
    ASSERT_EQ(EncodeUnsafeChars(encoded), encoded) << testing::PrintToString(text);
  }
}
