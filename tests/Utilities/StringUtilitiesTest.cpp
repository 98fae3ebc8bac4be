#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "framework/Utilities/StringUtilities.h"
#include "tests/support/FailureText.h"
#include "tests/support/ScarceMemory.h"

namespace {

using namespace std::string_literals;

TEST(GetTokenTest, ATokenAndOneDelimiterAreRemovedFromTheFront) {
  const struct {
    std::string source;
    std::vector<std::string> tokens;
  } rows[] = {
      {"", {""}},
      {"a b", {"a", "b"}},
      {"a  b", {"a", " b"}},
      {"a   b", {"a", " ", "b"}},
      {"a    b", {"a", " ", " b"}},
      {" a", {" a"}},
      {" a b", {" a", "b"}},
      {"  a", {" ", "a"}},
      {"a ", {"a"}},
      {" ", {" "}},
      {"  ", {" "}},
      {"a", {"a"}},
      {"word", {"word"}},
      {"several words here", {"several", "words", "here"}},
      {"a\tb c", {"a\tb", "c"}},
      {"a\0b c"s, {"a\0b"s, "c"}},
  };
  for (const auto& row : rows) {
    std::string source = row.source;
    for (const std::string& token : row.tokens) {
      EXPECT_EQ(GetToken(' ', source), token) << "of \"" << row.source << '"';
    }
    EXPECT_EQ(source, "") << "of \"" << row.source << '"';
  }
}

TEST(GetTokenTest, WithoutADelimiterTheTokenIsTheWholeSource) {
  std::string source = "a b";
  EXPECT_EQ(GetToken(',', source), "a b");
  EXPECT_EQ(source, "");
}

TEST(GetTokenTest, TheDelimiterMayBeAnyByte) {
  std::string source = "a\0b\xffz"s;
  EXPECT_EQ(GetToken('\0', source), "a");
  EXPECT_EQ(GetToken('\xff', source), "b");
  EXPECT_EQ(source, "z");
}

TEST(TrimTest, CharactersOfTheSetAreRemovedAtBothEnds) {
  const struct {
    std::string source;
    const char* set;
    std::string text;
  } rows[] = {
      {"", " ", ""},
      {" ", " ", ""},
      {" \t\r\n ", " \t\r\n", ""},
      {"@host.test>", " @>\t\r\n", "host.test"},
      {"  a", " ", "a"},
      {"a  ", " ", "a"},
      {" a b  c ", " ", "a b  c"},
      {"xyxaxybyx", "xy", "axyb"},
      {"text", " ", "text"},
      {" text ", "", " text "},
      {"", "", ""},
      {"\xffz\xff", "\xff", "z"},
      {"a", "a", ""},
      {"ab", "a", "b"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Trim(row.source, row.set).CopyCString(), row.text) << "of \"" << row.source << '"';
  }
}

TEST(TrimTest, TheCopyEndsAtTheFirstZeroByte) {
  EXPECT_EQ(Trim(" a\0b "s, " ").CopyCString(), "a");
  EXPECT_EQ(Trim("\0a"s, " ").CopyCString(), "");
}

TEST(TrimTest, TheSourceIsUnchangedAndTheTextIsACopy) {
  std::string source = " a ";
  const Trim trim(source, " ");
  EXPECT_EQ(source, " a ");
  source = "other";
  EXPECT_EQ(trim.CopyCString(), "a");
  Trim other("b", " ");
  other = trim;
  EXPECT_EQ(other.CopyCString(), "a");
}

TEST(CaseTest, OnlyAsciiLettersChange) {
  std::string all;
  std::string upper;
  std::string lower;
  for (int i = 0; i < 256; ++i) {
    all.push_back(static_cast<char>(i));
    upper.push_back(static_cast<char>(i >= 97 && i <= 122 ? i - 32 : i));
    lower.push_back(static_cast<char>(i >= 65 && i <= 90 ? i + 32 : i));
  }
  const std::string source = all;
  EXPECT_EQ(ToUpper(source), upper);
  EXPECT_EQ(ToLower(source), lower);
  EXPECT_EQ(source, all);
}

// The results of a text, strict and lenient.
struct NumberRow {
  std::string text;
  const char* strictError;  // null if the text is a number
  std::int64_t strict;
  const char* lenientError;
  std::int64_t lenient;
};

constexpr const char* kEmpty = "zero-length string";
constexpr const char* kSign = "sign-only string";
constexpr const char* kNonDigit = "non-digit character";

template <typename Number>
void ExpectNumber(Number (*parse)(const std::string&, bool), const NumberRow& row) {
  SCOPED_TRACE(row.text);
  const auto expect = [&](bool lenient, const char* error, std::int64_t value) {
    if (error != nullptr) {
      EXPECT_EQ(
          FailureText<std::invalid_argument>([&] { static_cast<void>(parse(row.text, lenient)); }),
          error);
    } else {
      EXPECT_EQ(std::int64_t{parse(row.text, lenient)}, value) << (lenient ? "lenient" : "strict");
    }
  };
  expect(false, row.strictError, row.strict);
  expect(true, row.lenientError, row.lenient);
}

TEST(StringToUnsignedTest, OtherCharactersThanDigitsThrowOrEndTheNumber) {
  static_assert(std::is_same_v<decltype(StringToUnsigned("", true)), std::uint32_t>);
  const NumberRow rows[] = {
      {"", kEmpty, 0, kEmpty, 0},
      {"24", nullptr, 24, nullptr, 24},
      {"0", nullptr, 0, nullptr, 0},
      {"007", nullptr, 7, nullptr, 7},
      {"0123456789", nullptr, 123456789, nullptr, 123456789},
      {"2.4", kNonDigit, 0, nullptr, 24},
      {"1.5", kNonDigit, 0, nullptr, 15},
      {"1.2.3", kNonDigit, 0, nullptr, 123},
      {".", kNonDigit, 0, nullptr, 0},
      {"..5", kNonDigit, 0, nullptr, 5},
      {"-1", kNonDigit, 0, nullptr, 0},
      {"+1", kNonDigit, 0, nullptr, 0},
      {" 1", kNonDigit, 0, nullptr, 0},
      {"1 2", kNonDigit, 0, nullptr, 1},
      {"12ab", kNonDigit, 0, nullptr, 12},
      {"12ab34", kNonDigit, 0, nullptr, 12},
      {"ab", kNonDigit, 0, nullptr, 0},
      {"1/", kNonDigit, 0, nullptr, 1},  // the character before "0"
      {"1:", kNonDigit, 0, nullptr, 1},  // the character after "9"
      {"1\xb2", kNonDigit, 0, nullptr, 1},
      {"1\0"s, kNonDigit, 0, nullptr, 1},
      {"4294967295", nullptr, 4294967295, nullptr, 4294967295},
      {"4294967296", nullptr, 0, nullptr, 0},
      {"4294967298", nullptr, 2, nullptr, 2},
      {"42949672961", nullptr, 1, nullptr, 1},
  };
  for (const NumberRow& row : rows) {
    ExpectNumber(StringToUnsigned, row);
  }
}

TEST(StringToIntTest, OtherCharactersThanASignAndDigitsThrowOrEndTheNumber) {
  static_assert(std::is_same_v<decltype(StringToInt("", true)), std::int32_t>);
  const NumberRow rows[] = {
      {"", kEmpty, 0, kEmpty, 0},
      {"-", kSign, 0, kSign, 0},
      {"+", kSign, 0, kSign, 0},
      {"12", nullptr, 12, nullptr, 12},
      {"-12", nullptr, -12, nullptr, -12},
      {"+12", nullptr, 12, nullptr, 12},
      {"-0", nullptr, 0, nullptr, 0},
      {"+7x", kNonDigit, 0, nullptr, 7},
      {"-7x8", kNonDigit, 0, nullptr, -7},
      {"1.5", kNonDigit, 0, nullptr, 15},
      {"-1.5", kNonDigit, 0, nullptr, -15},
      {"-.5", kNonDigit, 0, nullptr, -5},
      {"x", kNonDigit, 0, nullptr, 0},
      {"-x", kNonDigit, 0, nullptr, 0},
      {"--5", kNonDigit, 0, nullptr, 0},
      {"+-5", kNonDigit, 0, nullptr, 0},
      {" 5", kNonDigit, 0, nullptr, 0},
      {"5-", kNonDigit, 0, nullptr, 5},
      {"5 ", kNonDigit, 0, nullptr, 5},
      {"5\xff", kNonDigit, 0, nullptr, 5},
      {"2147483647", nullptr, 2147483647, nullptr, 2147483647},
      {"2147483648", nullptr, -2147483648, nullptr, -2147483648},
      {"-2147483648", nullptr, -2147483648, nullptr, -2147483648},
      {"-2147483649", nullptr, 2147483647, nullptr, 2147483647},
      {"4294967297", nullptr, 1, nullptr, 1},
      {"-4294967297", nullptr, -1, nullptr, -1},
  };
  for (const NumberRow& row : rows) {
    ExpectNumber(StringToInt, row);
  }
}

TEST(StringToIntOrTest, ATextThatIsNotANumberGivesTheDefault) {
  static_assert(std::is_same_v<decltype(StringToIntOr("", 0)), std::int32_t>);
  const struct {
    std::string text;
    std::int32_t value;  // with the default 5
  } rows[] = {
      {"", 5},  {"12x", 5}, {"-", 5}, {"+", 5},     {"1.5", 5}, {" 1", 5},
      {"x", 5}, {"12", 12}, {"0", 0}, {"-12", -12}, {"+7", 7},  {"4294967297", 1},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(StringToIntOr(row.text, 5), row.value) << row.text;
  }
  EXPECT_EQ(StringToIntOr("", -2147483647 - 1), -2147483647 - 1);
}

TEST(StringToIntOrTest, AFailureForAnotherReasonThanTheTextIsThrown) {
  const ScarceMemory scarce(25, 64);  // refuses the memory for the exception's text
  EXPECT_THROW(static_cast<void>(StringToIntOr("x", 5)), std::bad_alloc);
}

TEST(SanitiseUtf8Test, TheRangeOfAByteDecidesWhetherItAndItsContinuationsAreKept) {
  // `needed` is how many continuation bytes a lead byte of the range needs to be kept.
  constexpr int kKept = 0;
  constexpr int kDropped = -1;
  const struct {
    int first, last, needed;
  } rows[] = {
      {0, 8, kDropped},   {9, 10, kKept},   {11, 12, kDropped},   {13, 13, kKept},
      {14, 31, kDropped}, {32, 126, kKept}, {127, 193, 2},        {194, 223, 1},
      {224, 239, 2},      {240, 244, 3},    {245, 255, kDropped},
  };
  const std::string continuations = "\xa0\xbf\xa0";
  for (const auto& row : rows) {
    for (int lead = row.first; lead <= row.last; ++lead) {
      for (int count = 0; count <= 3; ++count) {
        SCOPED_TRACE(testing::Message() << lead << " with " << count);
        const std::string head(1, static_cast<char>(lead));
        const std::string tail = continuations.substr(0, static_cast<std::size_t>(count));
        std::string expected;
        if (row.needed != kDropped && count >= row.needed) {
          expected = head + tail.substr(0, static_cast<std::size_t>(row.needed));
        }
        // Three continuation bytes that are left over are kept: the first is a lead byte too.
        if (row.needed <= kKept && count == 3) {
          expected += continuations;
        }
        EXPECT_EQ(SanitiseUtf8(head + tail), expected);
        EXPECT_EQ(SanitiseUtf8("a" + head + tail + "z"), "a" + expected + "z");
      }
    }
  }
}

TEST(SanitiseUtf8Test, KnownTextsAreCleaned) {
  const struct {
    std::string source;
    std::string text;
  } rows[] = {
      {"", ""},
      {"v=spf1 a -all", "v=spf1 a -all"},
      {"a\tb\rc\nd", "a\tb\rc\nd"},
      {"a\x07z", "az"},
      {"a\0b"s, "ab"},
      {"\x1f \x7e\x7f", " \x7e"},
      {"\xc3\xa9", "\xc3\xa9"},
      {"text\xc3", "text"},  // the lead alone at the end
      {"\xc3z", "z"},
      // The bounds of the continuation bytes.
      {"\xc3\x7f", ""},
      {"\xc3\x80", "\xc3\x80"},
      {"\xc3\xbf", "\xc3\xbf"},
      {"\xc3\xc0", ""},
      {"\xdf\xbf", "\xdf\xbf"},
      // A C1 control is removed with its lead byte.
      {"a\xc2\x85z", "az"},
      {"\xc2\x80", ""},
      {"\xc2\x9f", ""},
      {"\xc2\xa0", "\xc2\xa0"},
      {"\xc2\xbf", "\xc2\xbf"},
      {"\xc3\x85", "\xc3\x85"},
      {"\xc2\x85\x80\x80", ""},
      {"\xc2", ""},
      {"\xc2z", "z"},
      // Three bytes.
      {"\xe2\x82\xac", "\xe2\x82\xac"},
      {"\xe2\x82", ""},
      {"\xe2\x82z", "z"},
      {"\xe2z\x82", "z"},
      {"\xe2\x82\xc3\xa9", "\xc3\xa9"},
      {"\x7f\x80\x80", "\x7f\x80\x80"},
      {"\x80\x80\x80", "\x80\x80\x80"},
      {"\x80\x80\x80\x80", "\x80\x80\x80"},
      {"\xc1\xbf\xbf", "\xc1\xbf\xbf"},
      {"\xc1\xbf", ""},
      {"\xc0\xaf", ""},
      // Overlong forms and surrogates pass.
      {"\xe0\x80\x80", "\xe0\x80\x80"},
      {"\xed\xa0\x80", "\xed\xa0\x80"},
      {"\xf0\x80\x80\x80", "\xf0\x80\x80\x80"},
      {"\xf4\xbf\xbf\xbf", "\xf4\xbf\xbf\xbf"},
      // Four bytes.
      {"\xf0\x9f\x98\x80", "\xf0\x9f\x98\x80"},
      {"\xf0\x9f\x98", ""},
      {"\xf0\x9f\x98z", "z"},
      {"\xf5\x80\x80\x80", "\x80\x80\x80"},
      {"\xff", ""},
      {"\xe2\x82\xe2\x82\xac", "\xe2\x82\xac"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(SanitiseUtf8(row.source), row.text) << testing::PrintToString(row.source);
  }
}

TEST(EncodeCharsTest, CharactersOfTheSetBecomeReferences) {
  const struct {
    std::string source;
    const char* set;
    std::string text;
  } rows[] = {
      {"a<b", "<", "a&#060;b"},
      {"", "<", ""},
      {"abc", "<", "abc"},
      {"a<b", "", "a<b"},
      {"<", "<", "&#060;"},
      {"<<", "<", "&#060;&#060;"},
      {"<a>", "<>", "&#060;a&#062;"},
      {"a&b&#038;", "&", "a&#038;b&#038;#038;"},
      {"a\tb", "\t", "a&#009;b"},
      {"xyz", "yz", "x&#121;&#122;"},
      {"d", "d", "&#100;"},
      {"100%s<%d", "<", "100%s&#060;%d"},
      {"a\xc8z", "\xc8", "a&#4294967240;z"},
      {"\x80\xff", "\xff\x80", "&#4294967168;&#4294967295;"},
      {"\x7f", "\x7f", "&#127;"},
      // A piece ends at its first zero byte, except for the rest.
      {"a\0b<c"s, "<", "a&#060;c"},
      {"<a\0b"s, "<", "&#060;a\0b"s},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(EncodeChars(row.source, row.set), row.text) << testing::PrintToString(row.source);
  }
}

TEST(EncodeCharsTest, APieceAndItsReferenceAreCutLikeFormattedTexts) {
  EXPECT_TRUE(EncodeChars(std::string(1048575, 'a') + "<b", "<") ==
              std::string(1048575, 'a') + "b");
  EXPECT_TRUE(EncodeChars(std::string(1048569, 'a') + "<b", "<") ==
              std::string(1048569, 'a') + "&#060;b");
}

TEST(EncodeUnsafeCharsTest, AllCharactersExceptTheAllowedOnesBecomeReferences) {
  const std::string allowed =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789:;/&#.?=_-, ";
  int kept = 0;
  for (int i = 0; i < 256; ++i) {
    const std::string source(1, static_cast<char>(i));
    const std::string code = std::to_string(i < 128 ? std::int64_t{i} : i + 4294967040);
    const std::string reference =
        "&#" + std::string(code.size() < 3 ? 3 - code.size() : 0, '0') + code + ";";
    const bool isAllowed = allowed.find(source) != std::string::npos;
    EXPECT_EQ(EncodeUnsafeChars(source), isAllowed ? source : reference) << i;
    kept += EncodeUnsafeChars(source) == source ? 1 : 0;
  }
  EXPECT_EQ(kept, 74);
}

TEST(EncodeUnsafeCharsTest, KnownTextsAreEncoded) {
  const struct {
    std::string source;
    std::string text;
  } rows[] = {
      {"", ""},
      {"a b<c", "a b&#060;c"},
      {"<b>\"it's\"</b>", "&#060;b&#062;&#034;it&#039;s&#034;&#060;/b&#062;"},
      {"50%+\t\r\n", "50&#037;&#043;&#009;&#013;&#010;"},
      {"a\xc3\xa9", "a&#4294967235;&#4294967209;"},
      {"a\0b"s, "a&#000;b"},
      {"user@host", "user&#064;host"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(EncodeUnsafeChars(row.source), row.text) << testing::PrintToString(row.source);
    EXPECT_EQ(EncodeUnsafeChars(row.text), row.text) << "encoded again";
  }
}

}  // namespace
