// SanitiseUtf8 compared with a decoder by a table of all first bytes.

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "framework/Utilities/StringUtilities.h"
#include "tests/property/Random.h"

namespace {

constexpr int kDropped = -1;

// Returns how many continuations each first byte needs to be kept.
std::array<int, 256> MakeTable() {
  std::array<int, 256> needed{};
  const struct {
    int first, last, needed;
  } rows[] = {
      {0, 8, kDropped},   {9, 10, 0},    {11, 12, kDropped},   {13, 13, 0},
      {14, 31, kDropped}, {32, 126, 0},  {127, 193, 2},        {194, 223, 1},
      {224, 239, 2},      {240, 244, 3}, {245, 255, kDropped},
  };
  for (const auto& row : rows) {
    for (int byte = row.first; byte <= row.last; ++byte) {
      needed[static_cast<std::size_t>(byte)] = row.needed;
    }
  }
  return needed;
}

bool IsContinuation(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 128 && byte <= 191;
}

// Returns the sequence at the front of `text` if it is whole, otherwise nothing.
std::string WholeSequence(const std::string& text) {
  static const std::array<int, 256> table = MakeTable();
  const int needed = table[static_cast<unsigned char>(text.front())];
  if (needed == kDropped || text.size() <= static_cast<std::size_t>(needed)) {
    return "";
  }
  for (std::size_t i = 1; i <= static_cast<std::size_t>(needed); ++i) {
    if (!IsContinuation(text[i])) {
      return "";
    }
  }
  return text.substr(0, static_cast<std::size_t>(needed) + 1);
}

std::string Decode(std::string text) {
  std::string kept;
  while (!text.empty()) {
    const std::string sequence = WholeSequence(text);
    const bool isControl = sequence >= "\xc2\x80" && sequence <= "\xc2\x9f" && sequence.size() == 2;
    kept += isControl ? "" : sequence;
    text.erase(0, sequence.empty() ? 1 : sequence.size());
  }
  return kept;
}

// The bounds of all ranges of the rules.
const std::string kBounds(
    "\x00\x08\x09\x0a\x0b\x0c\x0d\x0e\x1f\x20\x7e\x7f\x80\x9f\xa0\xbf\xc0\xc1\xc2\xc3\xdf\xe0\xef"
    "\xf0\xf4\xf5\xff",
    27);

}  // namespace

TEST(SanitiseUtf8Test, TextsOfUpToFourBytesAtTheBoundsAreCleanedAsTheTableSays) {
  std::string text;
  const auto expectAll = [&](const auto& self, std::size_t length) -> void {
    ASSERT_EQ(SanitiseUtf8(text), Decode(text)) << testing::PrintToString(text);
    for (std::size_t i = 0; length > 0 && i < kBounds.size() && !testing::Test::HasFailure(); ++i) {
      text.push_back(kBounds[i]);
      self(self, length - 1);
      text.pop_back();
    }
  };
  expectAll(expectAll, 4);
}

TEST(SanitiseUtf8Test, RandomTextsAreCleanedAsTheTableSaysAndThenStay) {
  Random random;
  for (int i = 0; i < 20000; ++i) {
    const std::size_t length = random.Between(0U, 40U);
    const std::string text = random.OneIn(2) ? random.Bytes(length) : random.Text(kBounds, length);
    const std::string clean = Decode(text);
    ASSERT_EQ(SanitiseUtf8(text), clean) << testing::PrintToString(text);
    ASSERT_EQ(SanitiseUtf8(clean), clean) << testing::PrintToString(text);
  }
}
