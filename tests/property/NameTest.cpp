// Names in DNS messages: written against a split by hand, read against a writer that knows what it
// wrote, and against the rules put plainly where nobody knows.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "framework/dns/MessageCodec.h"
#include "tests/property/NameWriter.h"
#include "tests/property/PlainReply.h"
#include "tests/property/Random.h"
#include "tests/support/Bytes.h"
#include "tests/support/ReplyBuilder.h"

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

// Each label behind its length, and a zero byte.
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

void Append(Bytes& message, const Bytes& bytes) {
  message.insert(message.end(), bytes.begin(), bytes.end());
}

std::uint32_t SizeOf(const Bytes& bytes) {
  return static_cast<std::uint32_t>(bytes.size());
}

// Runs of labels, each with the root or a pointer behind it: to the begin of another run, or
// anywhere.
Bytes MessageOfLoops(Random& random) {
  Bytes message;
  std::vector<std::uint32_t> begins;
  for (int runs = random.Between(1, 6); runs > 0; --runs) {
    begins.push_back(SizeOf(message));
    for (int labels = random.Between(0, 8); labels > 0; --labels) {
      const std::string label = AnyLabel(random);
      message.push_back(static_cast<unsigned char>(label.size()));
      Append(message, ToBytes(label));
    }
    const bool anywhere = random.OneIn(10);
    const std::uint32_t target = anywhere ? random.Between(0U, 600U) : random.OneOf(begins);
    message.push_back(static_cast<unsigned char>(random.OneIn(5) ? 0 : 0xC0 + target / 256));
    message.push_back(static_cast<unsigned char>(target % 256));
  }
  return message;
}

}  // namespace

TEST(NameTest, ADomainIsWrittenAsBySplittingItByHand) {
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
    Labels labels;
    for (int count = random.Between(1, 8); count > 0; --count) {
      labels.push_back(AnyLabel(random));
    }
    const std::string encoded = MessageCodec::EncodeName(Dotted(labels));
    const std::string before = random.Bytes(random.Between(0U, 20U));
    const std::string after = random.Bytes(random.Between(0U, 20U));
    const Name expected = {Dotted(labels), static_cast<std::uint32_t>(encoded.size())};
    ASSERT_EQ(Read(ToBytes(before + encoded + after), static_cast<std::uint32_t>(before.size())),
              expected)
        << testing::PrintToString(encoded);
  }
}

TEST(NameTest, ACompressedNameIsReadAsTheWriterKnowsIt) {
  Random random;
  for (int i = 0; i < 1000; ++i) {
    const Labels first = {AnyLabel(random)};
    // Far enough from the start for every bit of a pointer to come up.
    Bytes message(random.Between(0U, 16000U), 'x');
    NameWriter writer(random, first, SizeOf(message));
    Append(message, ToBytes(MessageCodec::EncodeName(Dotted(first))));
    for (int names = 0; names < 20; ++names) {
      const Labels labels = writer.AnyName();
      const std::uint32_t at = SizeOf(message);
      const Bytes bytes = writer.Write(labels, at);
      Append(message, bytes);
      ASSERT_EQ(Read(message, at), (Name{Dotted(labels), SizeOf(bytes)}))
          << "at " << at << " of "
          << testing::PrintToString(Bytes(message.begin() + at, message.end()));
    }
  }
}

TEST(NameTest, ARingThroughALabelEndsWithTheBytesOfTheMessageOrAt1024) {
  Random random;
  for (int i = 0; i < 2000; ++i) {
    const std::string label = AnyLabel(random);
    Bytes message = ToBytes(static_cast<char>(label.size()) + label + "\xC0"s + '\0');
    message.resize(message.size() + random.Between(0U, 300U));
    // One pointer more than the message has bytes is not followed any more.
    std::string rounds;
    for (std::size_t pointer = 0; pointer <= message.size(); ++pointer) {
      rounds += "." + label;
    }
    const auto consumed = static_cast<std::uint32_t>(label.size() + 3);
    const Name expected = {rounds.substr(0, 1024).substr(1), consumed};
    ASSERT_EQ(Read(message, 0), expected) << testing::PrintToString(message);
  }
}

TEST(NameTest, PointersThatLeadRoundEndANameByTheRules) {
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
  EXPECT_GT(longest, 100);  // both ends came up
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
