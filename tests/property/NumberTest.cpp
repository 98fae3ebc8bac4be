// StringToUnsigned and StringToInt compared with the library's numbers of 64 bits.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "framework/Utilities/StringUtilities.h"
#include "tests/property/Random.h"

namespace {

constexpr std::uint64_t kNumbers = 4294967296;

// A number, or the text of the failure.
struct Outcome {
  std::int64_t number = 0;
  std::string failure;

  bool operator==(const Outcome&) const = default;
};

void PrintTo(const Outcome& outcome, std::ostream* out) {
  *out << outcome.number << " " << outcome.failure;
}

template <typename Parse>
Outcome OutcomeOf(Parse parse, const std::string& text, bool lenient) {
  try {
    return {parse(text, lenient), ""};
  } catch (const std::invalid_argument& exception) {
    return {0, exception.what()};
  }
}

// Reads up to 19 digits, modulo 2^32.
Outcome PlainDigits(const std::string& text, bool lenient) {
  const std::size_t end = text.find_first_not_of(lenient ? "0123456789." : "0123456789");
  if (!lenient && end != std::string::npos) {
    return {0, "non-digit character"};
  }
  std::string digits = text.substr(0, end);
  std::erase(digits, '.');
  return {static_cast<std::int64_t>(std::stoull("0" + digits) % kNumbers), ""};
}

Outcome PlainUnsigned(const std::string& text, bool lenient) {
  return text.empty() ? Outcome{0, "zero-length string"} : PlainDigits(text, lenient);
}

Outcome PlainInt(const std::string& text, bool lenient) {
  if (text.empty()) {
    return {0, "zero-length string"};
  }
  if (text == "+" || text == "-") {
    return {0, "sign-only string"};
  }
  const bool sign = text[0] == '+' || text[0] == '-';
  Outcome outcome = PlainDigits(text.substr(sign ? 1 : 0), lenient);
  if (text[0] == '-') {
    outcome.number = -outcome.number;
  }
  outcome.number = static_cast<std::int32_t>(outcome.number);  // wraps
  return outcome;
}

std::string AnyText(Random& random) {
  std::string text = random.Text("+-", 1);
  text += random.Text("0123456789", 18);
  for (int junk = random.Between(-2, 2); junk > 0; --junk) {
    const std::size_t at = random.Between(std::size_t{0}, text.size());
    text.insert(at, 1, random.OneOf(std::string("..+- /:x\0\xb2", 10)));
  }
  return text.substr(0, 19);
}

}  // namespace

TEST(NumberTest, AnUnsignedNumberIsReadModulo2ToThe32) {
  Random random;
  for (int i = 0; i < 20000; ++i) {
    const std::string text = AnyText(random);
    for (const bool lenient : {false, true}) {
      ASSERT_EQ(OutcomeOf(StringToUnsigned, text, lenient), PlainUnsigned(text, lenient))
          << testing::PrintToString(text) << (lenient ? " leniently" : " strictly");
    }
  }
}

TEST(NumberTest, ASignedNumberWrapsInto32Bits) {
  Random random;
  for (int i = 0; i < 20000; ++i) {
    const std::string text = AnyText(random);
    for (const bool lenient : {false, true}) {
      ASSERT_EQ(OutcomeOf(StringToInt, text, lenient), PlainInt(text, lenient))
          << testing::PrintToString(text) << (lenient ? " leniently" : " strictly");
    }
  }
}

TEST(NumberTest, ATextThatIsRefusedGivesTheDefault) {
  Random random;
  for (int i = 0; i < 20000; ++i) {
    const std::string text = AnyText(random);
    const auto defaultValue = random.Between<std::int32_t>(-1000, 1000);
    const Outcome plain = PlainInt(text, false);
    ASSERT_EQ(std::int64_t{StringToIntOr(text, defaultValue)},
              plain.failure.empty() ? plain.number : defaultValue)
        << testing::PrintToString(text);
  }
}
