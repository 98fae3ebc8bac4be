// GetToken and Trim compared with functions that go character by character.

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "framework/Utilities/StringUtilities.h"
#include "tests/property/Random.h"

namespace {

// A delimiter ends a token that has begun, or else begins one itself.
std::vector<std::string> Split(char delimiter, const std::string& source) {
  std::vector<std::string> tokens;
  std::string token;
  for (const char c : source) {
    if (c == delimiter && !token.empty()) {
      tokens.push_back(token);
      token.clear();
    } else {
      token.push_back(c);
    }
  }
  if (!token.empty()) {
    tokens.push_back(token);
  }
  return tokens;
}

std::string TrimByHand(const std::string& source, const std::string& set) {
  std::deque<char> rest(source.begin(), source.end());
  const auto isInSet = [&](char c) { return std::count(set.begin(), set.end(), c) > 0; };
  while (!rest.empty() && isInSet(rest.front())) {
    rest.pop_front();
  }
  while (!rest.empty() && isInSet(rest.back())) {
    rest.pop_back();
  }
  return {rest.begin(), std::find(rest.begin(), rest.end(), '\0')};
}

// Few characters, so that texts often have delimiters and characters of a set.
const std::string kCharacters("ab \t\0\xff@", 7);

}  // namespace

TEST(TokenTest, ASourceIsCutIntoItsTokens) {
  Random random;
  for (int i = 0; i < 20000; ++i) {
    const std::string whole = random.Text(kCharacters, 12);
    const char delimiter = random.OneOf(kCharacters);
    std::string source = whole;
    std::string_view view = whole;
    std::size_t position = 0;
    for (const std::string& token : Split(delimiter, whole)) {
      ASSERT_EQ(GetToken(delimiter, source), token) << testing::PrintToString(whole);
      position = std::min(position + token.size() + 1, whole.size());
      ASSERT_EQ(source, whole.substr(position)) << testing::PrintToString(whole);
      ASSERT_EQ(GetToken(delimiter, view), token) << testing::PrintToString(whole);
      ASSERT_EQ(view, source) << testing::PrintToString(whole);
    }
    ASSERT_EQ(GetToken(delimiter, source), "") << testing::PrintToString(whole);
    ASSERT_EQ(GetToken(delimiter, view), "") << testing::PrintToString(whole);
  }
}

TEST(TokenTest, CharactersOfTheSetAreTakenOffBothEnds) {
  Random random;
  for (int i = 0; i < 20000; ++i) {
    const std::string source = random.Text(kCharacters, 12);
    const std::string set = random.Text("ab \t\xff@", 3);
    ASSERT_EQ(Trim(source, set.c_str()).CopyCString(), TrimByHand(source, set))
        << testing::PrintToString(source) << " without " << testing::PrintToString(set);
  }
}
