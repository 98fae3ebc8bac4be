#include <gtest/gtest.h>

#include <string>

#include "programs/spf-bulk/ErrorEntry.h"

namespace {

TEST(ErrorEntryTest, AnEntryHasNumberReasonAndLine) {
  EXPECT_EQ(MakeErrorEntry(7, "a reason", "a,b,c"), "7,a reason,a,b,c\n");
}

TEST(ErrorEntryTest, CommasInTheReasonBecomeSemicolons) {
  EXPECT_EQ(MakeErrorEntry(7, "a, b, c", "x"), "7,a; b; c,x\n");
}

TEST(ErrorEntryTest, TheLineIsMadePrintable) {
  EXPECT_EQ(MakeErrorEntry(1, "r", std::string("\0\n\x1b\\\xff", 5)),
            "1,r,\\000\\012\\033\\\\377\n");
}

TEST(ErrorEntryTest, ALongLineIsCutAfterAThousandCharacters) {
  EXPECT_EQ(MakeErrorEntry(1, "r", std::string(1000, 'x')), "1,r," + std::string(1000, 'x') + "\n");
  EXPECT_EQ(MakeErrorEntry(1, "r", std::string(1001, 'x')), "1,r," + std::string(1000, 'x') + "\n");
}

TEST(ErrorEntryTest, TheNumberOfAnEntryIsRead) {
  EXPECT_EQ(NumberOfErrorEntry("12,r,x"), 12U);
  EXPECT_EQ(NumberOfErrorEntry("18446744073709551615,r,x"), 18446744073709551615U);
  for (const char* entry : {"", "12", ",r", "x,r", "-1,r", " 1,r", "18446744073709551616,r"}) {
    EXPECT_EQ(NumberOfErrorEntry(entry), 0U) << entry;
  }
}

}  // namespace
