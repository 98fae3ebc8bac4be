#include <gtest/gtest.h>

#include <string>

#include "tool/Printable.h"

using namespace std::string_literals;

TEST(PrintableTest, PrintableAsciiIsKept) {
  std::string printable;
  for (char c = ' '; c <= '~'; ++c) {
    printable += c;
  }
  EXPECT_EQ(ToPrintable(printable, 1000), printable);
}

TEST(PrintableTest, EveryOtherByteIsItsOctalNumber) {
  EXPECT_EQ(ToPrintable("a\0b\n\r\t\x1B\x7F\x80\xC3\xBC\xFF"s, 1000),
            "a\\000b\\012\\015\\011\\033\\177\\200\\303\\274\\377");
}

TEST(PrintableTest, ATextOverTheLimitIsCutBetweenCharacters) {
  const struct {
    std::string text;
    std::size_t limit;
    std::string expected;
  } rows[] = {
      {"abcdef", 6, "abcdef"},
      {"abcdef", 5, "abcde..."},
      {"", 0, ""},
      {"a", 0, "..."},
      {"ab\n", 6, "ab\\012"},
      {"ab\n", 5, "ab..."},
      {"\n\n\n", 8, "\\012\\012..."},
      {"abc\nd", 7, "abc\\012..."},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ToPrintable(row.text, row.limit), row.expected) << row.text << row.limit;
  }
}
