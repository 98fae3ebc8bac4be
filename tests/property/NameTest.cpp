// The names of MessageCodec compared with a plain implementation of their rules.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "framework/dns/MessageCodec.h"
#include "tests/property/PlainReply.h"
#include "tests/property/Random.h"
#include "tests/support/Bytes.h"

using namespace std::string_literals;

namespace {

struct Name {
  std::string text;
  std::uint32_t consumed = 0;

  bool operator==(const Name&) const = default;
};

void PrintTo(const Name& name, std::ostream* out) {
  *out << testing::PrintToString(name.text) << ", consumed " << name.consumed;
}

Name Read(const Bytes& message, std::uint32_t at) {
  Name name;
  name.text = MessageCodec::DecodeName(message, at, name.consumed);
  EXPECT_EQ(MessageCodec::MeasureName(message, at), name.consumed);
  return name;
}

Name ReadPlainly(const Bytes& message, std::uint32_t at) {
  Name name;
  name.text = PlainReply(message).Name(at, name.consumed);
  return name;
}

// Returns each label after its length, and a zero byte.
std::string EncodeByHand(const std::string& domain) {
  std::string encoded;
  std::string label;
  for (const char c : domain + ".") {
    if (c == '.') {
      encoded += static_cast<char>(label.size() % 256);
      encoded += label;
      label.clear();
    } else {
      label += c;
    }
  }
  return encoded + '\0';
}

// Returns up to 63 bytes, none of which is a dot, ends a name or begins a pointer.
std::string AnyLabel(Random& random) {
  const int longest = random.OneIn(5) ? 63 : 4;
  std::string label(static_cast<std::size_t>(random.Between(1, longest)), '\0');
  const int last = random.OneIn(2) ? 127 : 191;
  for (char& c : label) {
    c = static_cast<char>(random.Between(1, last));
    c = c == '.' ? '-' : c;
  }
  return label;
}

std::uint32_t SizeOf(const Bytes& bytes) {
  return static_cast<std::uint32_t>(bytes.size());
}

// Returns runs of labels, each followed by the root or by a pointer to the beginning of another run
// or anywhere.
Bytes MessageOfLoops(Random& random) {
  Bytes message;
  std::vector<std::uint32_t> begins;
  for (int runs = random.Between(1, 6); runs > 0; --runs) {
    begins.push_back(SizeOf(message));
    for (int labels = random.Between(0, 8); labels > 0; --labels) {
      const std::string label = AnyLabel(random);
      message.push_back(static_cast<unsigned char>(label.size()));
      message.insert(message.end(), label.begin(), label.end());
    }
    const bool anywhere = random.OneIn(10);
    const std::uint32_t target = anywhere ? random.Between(0U, 600U) : random.OneOf(begins);
    message.push_back(static_cast<unsigned char>(random.OneIn(5) ? 0 : 0xC0 + target / 256));
    message.push_back(static_cast<unsigned char>(target % 256));
  }
  return message;
}

}  // namespace

TEST(NameTest, ADomainIsWrittenAsItsLabels) {
  Random random;
  for (int i = 0; i < 20000; ++i) {
    std::string domain = random.Text("ab..", 12);
    if (random.OneIn(4)) {
      const std::size_t at = random.Between(std::size_t{0}, domain.size());
      domain.insert(at, random.Bytes(random.Between(0U, 600U)));
    }
    ASSERT_EQ(MessageCodec::EncodeName(domain), EncodeByHand(domain))
        << testing::PrintToString(domain);
  }
}

TEST(NameTest, ANameIsReadAsItWasWritten) {
  Random random;
  for (int i = 0; i < 10000; ++i) {
    std::string domain = AnyLabel(random);
    for (int more = random.Between(0, 7); more > 0; --more) {
      domain += "." + AnyLabel(random);
    }
    const std::string encoded = MessageCodec::EncodeName(domain);
    const std::string before = random.Bytes(random.Between(0U, 20U));
    const std::string after = random.Bytes(random.Between(0U, 20U));
    const Name expected = {domain, static_cast<std::uint32_t>(encoded.size())};
    ASSERT_EQ(Read(ToBytes(before + encoded + after), static_cast<std::uint32_t>(before.size())),
              expected)
        << testing::PrintToString(encoded);
  }
}

TEST(NameTest, LoopsOfPointersEndANameByTheRules) {
  Random random;
  int longest = 0;
  int shorter = 0;
  for (int i = 0; i < 10000; ++i) {
    const Bytes message = MessageOfLoops(random);
    const std::uint32_t at = random.Between(0U, SizeOf(message));
    const Name name = Read(message, at);
    ASSERT_EQ(name, ReadPlainly(message, at))
        << "at " << at << " of " << testing::PrintToString(message);
    longest += name.text.size() == 1023 ? 1 : 0;
    shorter += name.text.size() < 1023 ? 1 : 0;
  }
  EXPECT_GT(longest, 100);  // each of both ends
  EXPECT_GT(shorter, 100);
}

TEST(NameTest, RandomBytesAreReadAsANameByTheRules) {
  Random random;
  for (int i = 0; i < 20000; ++i) {
    Bytes message = ToBytes(random.Bytes(random.Between(0U, 60U)));
    for (unsigned char& byte : message) {
      byte = random.OneIn(4) ? 0xC0 : byte;
    }
    const std::uint32_t at = random.Between(0U, 70U);
    ASSERT_EQ(Read(message, at), ReadPlainly(message, at))
        << "at " << at << " of " << testing::PrintToString(message);
  }
}
