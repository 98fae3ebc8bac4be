#include <gtest/gtest.h>

#include <latch>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "framework/core/Exceptions.h"
#include "framework/dns/MessageCodec.h"
#include "tests/support/Bytes.h"
#include "tests/support/FailureText.h"
#include "tests/support/Text.h"

using namespace std::string_literals;

namespace {

constexpr std::size_t kHeader = 12;

// Returns the bytes between the header and the type, class and trailing bytes of a query.
std::string NameInQuery(const std::string& domain) {
  const Bytes query = MessageCodec::EncodeQuery(domain, 1, 0);
  return {query.begin() + kHeader, query.end() - 12};
}

Bytes TailOfQuery(const std::string& domain, std::uint16_t type) {
  const Bytes query = MessageCodec::EncodeQuery(domain, type, 0);
  return {query.end() - 12, query.end()};
}

struct Decoded {
  std::string text;
  std::uint32_t consumed;

  bool operator==(const Decoded&) const = default;
};

void PrintTo(const Decoded& decoded, std::ostream* out) {
  *out << testing::PrintToString(decoded.text) << ", consumed " << decoded.consumed;
}

Decoded DecodeName(const Bytes& message, std::uint32_t at) {
  Decoded result{};
  result.text = MessageCodec::DecodeName(message, at, result.consumed);
  return result;
}

Decoded DecodeText(const Bytes& message, std::uint32_t at) {
  Decoded result{};
  result.text = MessageCodec::DecodeText(message, at, result.consumed);
  return result;
}

}  // namespace

TEST(MessageCodecTest, AQueryIsHeaderNameTypeClassAndEightZeroBytes) {
  const Bytes expected = {0xAB, 0xCD,                              // ID
                          0x01, 0x00,                              // recursion desired
                          0,    1,    0,   0,   0,   0,   0,   0,  // one question, no records
                          7,    'e',  'x', 'a', 'm', 'p', 'l', 'e',
                          3,    'o',  'r', 'g', 0,   0,   1,  // type A
                          0,    1,                            // class IN
                          0,    0,    0,   0,   0,   0,   0,   0};
  EXPECT_EQ(MessageCodec::EncodeQuery("example.org", 1, 0xABCD), expected);
  EXPECT_EQ(expected.size(), 37U);
}

TEST(MessageCodecTest, TheTypeIsInNetworkByteOrderBeforeTheClass) {
  EXPECT_EQ(TailOfQuery("example.org", 2), (Bytes{0, 2, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(TailOfQuery("example.org", 16), (Bytes{0, 16, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(TailOfQuery("example.org", 0x1234), (Bytes{0x12, 0x34, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(MessageCodecTest, TheTypesAreThoseOfTheProtocol) {
  EXPECT_EQ(MessageCodec::kTypeA, 1);
  EXPECT_EQ(MessageCodec::kTypeNS, 2);
  EXPECT_EQ(MessageCodec::kTypeMX, 15);
  EXPECT_EQ(MessageCodec::kTypeTXT, 16);
}

TEST(MessageCodecTest, AnEarlyZeroByteOfTheNameEndsTheQuestion) {
  const struct {
    std::string domain;
    std::string name;
  } rows[] = {
      {"example.org.", "\7example\3org\0"s},  // a dot at the end is harmless
      {".example.org", "\0"s},                // a dot at the start asks for the root
      {"a..example.org", "\1a\0"s},
      {"", "\0"s},
      {".", "\0"s},
      {std::string(256, 'a') + ".org", "\0"s},  // the length byte of the label is 0
  };
  for (const auto& row : rows) {
    EXPECT_EQ(NameInQuery(row.domain), row.name) << row.domain;
    EXPECT_EQ(TailOfQuery(row.domain, 16), (Bytes{0, 16, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0}))
        << row.domain;
  }
}

TEST(MessageCodecTest, AQueryMayFillTheWholeBuffer) {
  const Bytes query = MessageCodec::EncodeQuery(std::string(998, 'a'), 1, 0);
  EXPECT_EQ(query.size(), 1024U);
  EXPECT_EQ(query[12], 998 % 256);
}

TEST(MessageCodecTest, ANameThatDoesNotFitIsRefused) {
  for (const std::string& domain :
       {std::string(999, 'a'), std::string(5000, 'a'), "." + std::string(1100, 'a')}) {
    EXPECT_EQ(FailureText<StdException>([&] { MessageCodec::EncodeQuery(domain, 1, 0); }),
              "MessageCodec::EncodeQuery - domain name too long")
        << domain.size() << " characters";
  }
}

TEST(MessageCodecTest, LabelsAfterAnEarlyZeroByteNeedRoomInTheBuffer) {
  EXPECT_EQ(MessageCodec::EncodeQuery("." + std::string(1009, 'a'), 1, 0).size(), 25U);
  EXPECT_THROW(MessageCodec::EncodeQuery("." + std::string(1010, 'a'), 1, 0), StdException);
}

TEST(MessageCodecTest, TheAnswersBeginAfterTheQuestionThatWasSent) {
  const struct {
    std::string domain;
    std::uint32_t start;
  } rows[] = {{"example.org", 29}, {"example.org.", 29}, {"", 17}, {".example.org", 17}};
  for (const auto& row : rows) {
    EXPECT_EQ(MessageCodec::GetAnswerStart(MessageCodec::EncodeQuery(row.domain, 1, 0)), row.start)
        << row.domain;
  }
}

TEST(MessageCodecTest, ADomainIsWrittenAsLabelsWithTheirLengths) {
  const struct {
    std::string domain;
    std::string name;
  } rows[] = {
      {"example.org", "\7example\3org\0"s},
      {"org", "\3org\0"s},
      {"MaIl.Example.ORG", "\4MaIl\7Example\3ORG\0"s},  // no change of case
      {":x-_ \\\"\xC3\xA9.y", "\11:x-_ \\\"\xC3\xA9\1y\0"s},
      {"", "\0\0"s},
      {".", "\0\0\0"s},
      {"example.org.", "\7example\3org\0\0"s},
      {".org", "\0\3org\0"s},
      {"a..b", "\1a\0\1b\0"s},
      {std::string(64, 'a'), "\x40" + std::string(64, 'a') + "\0"s},  // more than 63 allowed
      {std::string(255, 'a'), "\xFF" + std::string(255, 'a') + "\0"s},
      {std::string(256, 'a'), "\0"s + std::string(256, 'a') + "\0"s},  // modulo 256
      {std::string(300, 'a'), "\x2C" + std::string(300, 'a') + "\0"s},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(MessageCodec::EncodeName(row.domain), row.name) << row.domain;
  }
}

TEST(MessageCodecTest, TheWholeLengthOfANameIsNotChecked) {
  EXPECT_EQ(MessageCodec::EncodeName(Repeat("abc.", 100) + "d"), Repeat("\3abc", 100) + "\1d\0"s);
}

TEST(MessageCodecTest, NamesAreReadWithAndWithoutPointers) {
  const struct {
    const char* what;
    std::string message;
    std::uint32_t at;
    Decoded expected;
  } rows[] = {
      {"in full", "\1a\1b\0"s, 0, {"a.b", 5}},
      {"three labels", "\4mail\7example\3org\0"s, 0, {"mail.example.org", 18}},
      {"not at the start", "xx\1a\1b\0yy"s, 2, {"a.b", 5}},
      {"one pointer", "\1a\1b\0\xC0\0"s, 5, {"a.b", 2}},
      {"pointer into a name", "\1a\1b\0\xC0\2"s, 5, {"b", 2}},
      {"label and pointer", "\1a\1b\0\1c\xC0\0"s, 5, {"c.a.b", 4}},
      {"pointer to a pointer", "\1a\0\xC0\0\xC0\3"s, 5, {"a", 2}},
      {"label, pointer, label, pointer", "\1a\0\1b\xC0\0\1c\xC0\3"s, 7, {"c.b.a", 4}},
      {"pointer forwards", "\xC0\4xx\1a\0"s, 0, {"a", 2}},
      {"length byte 64", "\x40" + std::string(64, 'a') + "\0"s, 0, {std::string(64, 'a'), 66}},
      {"length byte 191", "\xBF" + std::string(191, 'a') + "\0"s, 0, {std::string(191, 'a'), 193}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(DecodeName(ToBytes(row.message), row.at), row.expected) << row.what;
  }
}

TEST(MessageCodecTest, TheRootIsEmptyAndTakesOneByte) {
  EXPECT_EQ(DecodeName({0, 1, 'a', 0}, 0), (Decoded{"", 1}));
}

TEST(MessageCodecTest, APointerToTheRootTakesOneByteToo) {
  EXPECT_EQ(DecodeName({0, 0xC0, 0}, 1), (Decoded{"", 1}));
}

TEST(MessageCodecTest, APointerHasFourteenBits) {
  const Bytes message = ToBytes(std::string(0x3FFF, 'x') + "\1a\0\xFF\xFF"s);
  EXPECT_EQ(DecodeName(message, 0x3FFF + 3), (Decoded{"a", 2}));
}

TEST(MessageCodecTest, APointerIsReadInsideALabelTooAndOtherBytesStay) {
  EXPECT_EQ(DecodeName(ToBytes("\2\xBFz\0"s), 0), (Decoded{"\xBFz", 4}));
  EXPECT_EQ(DecodeName(ToBytes("\1b\0\3a\xC0\0z\0"s), 3), (Decoded{"a\1b", 4}));
}

TEST(MessageCodecTest, ALabelLongerThanItsNameEndsWithIt) {
  EXPECT_EQ(DecodeName(ToBytes("\1a\x09xyz\0"s), 0), (Decoded{"a.xyz", 7}));
  EXPECT_EQ(DecodeName(ToBytes("\1a\x09\0"s), 0), (Decoded{"a.", 4}));
}

TEST(MessageCodecTest, AChainOfPointersIsFollowedToItsEnd) {
  std::string chain = "\1a\0\xC0\0"s;
  for (int at = 3; at < 200; at += 2) {
    chain += '\xC0';
    chain += static_cast<char>(at);
  }
  const Bytes message = ToBytes(chain);
  EXPECT_EQ(DecodeName(message, static_cast<std::uint32_t>(message.size() - 2)), (Decoded{"a", 2}));
}

TEST(MessageCodecTest, APointerOutOfTheMessageEndsTheName) {
  EXPECT_EQ(DecodeName(ToBytes("\1a\xFF\xFF"s), 0), (Decoded{"a", 4}));
  EXPECT_EQ(DecodeName(ToBytes("\xC0\2"s), 0), (Decoded{"", 1}));
}

TEST(MessageCodecTest, TheEndOfTheMessageEndsTheName) {
  EXPECT_EQ(DecodeName(ToBytes("\7exam"s), 0), (Decoded{"exam", 6}));
  EXPECT_EQ(DecodeName(ToBytes("\1a"s), 5), (Decoded{"", 1}));
  EXPECT_EQ(DecodeName({}, 0), (Decoded{"", 1}));
  EXPECT_EQ(DecodeName(ToBytes("\1a"s), std::numeric_limits<std::uint32_t>::max()),
            (Decoded{"", 1}));
}

TEST(MessageCodecTest, HalfAPointerReadsItsMissingByteAsZero) {
  EXPECT_EQ(DecodeName(ToBytes("\1a\0\1b\xC0"s), 3), (Decoded{"b.a", 4}));
}

TEST(MessageCodecTest, ACycleOfPointersAloneIsTheRoot) {
  EXPECT_EQ(DecodeName(ToBytes("\xC0\0"s), 0), (Decoded{"", 1}));
  EXPECT_EQ(DecodeName(ToBytes("\xC0\2\xC0\4\xC0\0"s), 2), (Decoded{"", 1}));
}

TEST(MessageCodecTest, MorePointersThanTheMessageHasBytesEndTheName) {
  Bytes message = ToBytes("\1a\xC0\0"s);
  message.resize(20);
  std::string name = "a";
  for (int label = 1; label < 21; ++label) {
    name += ".a";
  }
  EXPECT_EQ(DecodeName(message, 0), (Decoded{name, 4}));
}

TEST(MessageCodecTest, ANameOfMoreThan1024BytesEndsThere) {
  // In full: 1024 bytes are 170 labels of six bytes and four bytes of one more.
  const std::string cut = Repeat("aaaaa.", 170) + "aaa";
  EXPECT_EQ(DecodeName(ToBytes(Repeat("\5aaaaa", 300) + "\0"s), 0), (Decoded{cut, 1025}));
  // Through a pointer to its own start.
  EXPECT_EQ(DecodeName(ToBytes(Repeat("\5aaaaa", 100) + "\xC0\0"s), 0), (Decoded{cut, 602}));
}

TEST(MessageCodecTest, ANameOfExactly1024BytesIsWhole) {
  EXPECT_EQ(DecodeName(ToBytes(Repeat("\3aaa", 256) + "\0"s), 0),
            (Decoded{Repeat("aaa.", 255) + "aaa", 1025}));
}

TEST(MessageCodecTest, ThreadsMayWriteAndReadNamesAtOnce) {
  std::latch start(4);
  const auto writeAndRead = [&start](const std::string& domain) {
    start.arrive_and_wait();
    for (int i = 0; i < 10000; ++i) {
      const std::string name = MessageCodec::EncodeName(domain);
      ASSERT_EQ(DecodeName(ToBytes(name), 0).text, domain);
    }
  };
  std::vector<std::jthread> threads;
  for (const char letter : {'a', 'b', 'c', 'd'}) {
    threads.emplace_back(writeAndRead, std::string(50, letter) + ".test");
  }
}

TEST(MessageCodecTest, ATextBeginsAfterItsLengthByteAndEndsAtAZeroByte) {
  constexpr std::uint32_t kStepBack = std::numeric_limits<std::uint32_t>::max();
  const struct {
    const char* what;
    std::string message;
    std::uint32_t at;
    Decoded expected;
  } rows[] = {
      {"to the end of the message", "\13v=spf1 -all"s, 0, {"v=spf1 -all", 10}},
      {"not at the start", "xx\3abc"s, 2, {"abc", 2}},
      {"the length byte is not used", "\1abc"s, 0, {"abc", 2}},
      {"over the next record's pointer", "\3abc\xC0\x0C\0\1"s, 0, {"abc\xC0\x0C", 4}},
      {"inner length bytes stay", "\3abc\3def"s, 0, {"abc\3def", 6}},
      {"a zero byte ends it", "\3a\0c"s, 0, {"a", 0}},
      {"one byte", "\1a"s, 0, {"a", 0}},
      {"empty", "\0\0"s, 0, {"", kStepBack}},
      {"at the last byte", "xx\3"s, 2, {"", kStepBack}},
      {"past the end", "xx"s, 7, {"", kStepBack}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(DecodeText(ToBytes(row.message), row.at), row.expected) << row.what;
  }
}
