#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <set>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "framework/Utilities/RandomString.h"
#include "tests/support/FailureText.h"

namespace {

const std::string kAlphabet = "aA1bB2cC3dD4eE5fF6gG7hH8iI9jJkKlLmMnNoOpPqQrRsStTuUvVwWxXyYzZ";

// Returns the next `length` characters that the generator picks from `alphabet`.
std::string Draw(int length, const std::string& alphabet) {
  std::string text;
  for (int i = 0; i < length; ++i) {
    text += alphabet[static_cast<std::size_t>(std::rand()) % alphabet.size()];
  }
  return text;
}

TEST(RandomStringTest, ItHasTheGivenLengthAndCharactersOfTheAlphabet) {
  for (const int length : {1, 2, 16, 1000}) {
    const std::string text = RandomString(length, kAlphabet).GetString();
    EXPECT_EQ(text.size(), static_cast<std::size_t>(length));
    EXPECT_EQ(text.find_first_not_of(kAlphabet), std::string::npos) << text;
  }
}

TEST(RandomStringTest, ALengthOfZeroOrLessGivesAnEmptyText) {
  for (const int length : {0, -1, -2147483647 - 1}) {
    EXPECT_EQ(RandomString(length, kAlphabet).GetString(), "");
    EXPECT_EQ(RandomString(length, "").GetString(), "");
  }
}

TEST(RandomStringTest, EveryCharacterOfTheAlphabetIsUsed) {
  const std::string text = RandomString(61 * 200, kAlphabet).GetString();
  EXPECT_EQ(std::set<char>(text.begin(), text.end()),
            std::set<char>(kAlphabet.begin(), kAlphabet.end()));
}

TEST(RandomStringTest, ACharacterIsPickedByTheRemainderOfTheNextNumber) {
  const RandomString seeding(1, "x");  // only the first string in a process seeds the generator
  std::srand(4711);
  std::string expected = Draw(40, kAlphabet);
  expected += Draw(25, "abc");
  expected += Draw(5, "z");
  std::srand(4711);
  std::string text = RandomString(40, kAlphabet).GetString();
  text += RandomString(25, "abc").GetString();
  text += RandomString(5, "z").GetString();
  EXPECT_EQ(text, expected);
}

TEST(RandomStringTest, BothFormsOfTheAlphabetBehaveTheSame) {
  const RandomString seeding(1, "x");
  std::srand(4711);
  const std::string byString = RandomString(40, std::string("0123456789")).GetString();
  std::srand(4711);
  EXPECT_EQ(RandomString(40, "0123456789").GetString(), byString);
}

TEST(RandomStringTest, ItHasAVirtualDestructor) {
  EXPECT_TRUE(std::has_virtual_destructor_v<RandomString>);
}

TEST(RandomStringTest, AnEmptyAlphabetIsRejected) {
  EXPECT_EQ(FailureText<std::invalid_argument>([] { RandomString(1, std::string()); }),
            "RandomString - empty alphabet");
}

// Ends the process with status 0 if the first string, of this length, seeds the generator with the
// time plus its length and the second one does not seed it again.
[[noreturn]] void ExitBySeeding(int firstLength) {
  const std::time_t before = std::time(nullptr);
  const std::string first = RandomString(firstLength, kAlphabet).GetString();
  const std::time_t after = std::time(nullptr);
  const std::string second = RandomString(30, kAlphabet).GetString();
  for (std::time_t now = before; now <= after; ++now) {
    std::srand(static_cast<unsigned int>(now) + static_cast<unsigned int>(firstLength));
    if (Draw(firstLength, kAlphabet) == first && Draw(30, kAlphabet) == second) {
      std::_Exit(0);
    }
  }
  std::_Exit(1);
}

TEST(RandomStringDeathTest, OnlyTheFirstStringOfAProcessSeedsTheGeneratorWithTimeAndLength) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // each in a process that has made none yet
  EXPECT_EXIT(ExitBySeeding(16), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(ExitBySeeding(200000), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(ExitBySeeding(0), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(ExitBySeeding(-1000), testing::ExitedWithCode(0), "");
}

}  // namespace
