// The faults that parsers of DNS replies commonly have (RFC 9267), each provoked by a reply of
// exactly the bytes shown. No reply makes the walk read outside it or block.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "framework/dns/AnswerWalk.h"
#include "framework/dns/DNSSocket.h"
#include "framework/dns/NameServer.h"
#include "tests/support/Bytes.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScriptedNameServer.h"
#include "tests/support/Text.h"

using namespace std::string_literals;

namespace {

using Texts = std::vector<std::string>;
using Numbers = std::vector<std::uint16_t>;

// Type and value of each record.
using Answers = std::vector<std::pair<unsigned int, std::string>>;

constexpr std::size_t kQuestionCount = 4;
constexpr std::size_t kAuthorityCount = 8;
constexpr std::size_t kAdditionalCount = 10;

constexpr std::uint32_t kStart = 29;          // of the answers to a query for example.org
constexpr std::uint32_t kData = kStart + 12;  // of the first one, whose owner is a pointer

const Answers kNone;
const Answers kAddress = {{1, "192.0.2.1"}};

ReplyBuilder Reply() {
  return ReplyBuilder(
      ToBytes("\x12\x34\1\0\0\1\0\0\0\0\0\0\7example\3org\0\0\1\0\1\0\0\0\0\0\0\0\0"s));
}

// A copy has no room behind its last byte: a sanitizer sees a read there.
Answers Walk(const Bytes& reply) {
  const Bytes exact(reply);
  Answers answers;
  AnswerWalk walk(exact, kStart);
  AnswerWalk::Answer answer;
  while (walk.Next(answer)) {
    answers.emplace_back(answer.type, answer.value);
  }
  return answers;
}

// A reply with one name server, whose name, at 0x29, is as given.
Answers WalkName(const std::string& name) {
  return Walk(Reply().Record(2, ToBytes(name)).Build());
}

// As above, with an address behind it.
Answers WalkNameAndAddress(const std::string& name) {
  return Walk(Reply().Record(2, ToBytes(name)).A("192.0.2.1").Build());
}

Answers WalkWithCount(std::size_t at, unsigned char high, unsigned char low) {
  Bytes reply = Reply().A("192.0.2.1").Build();
  reply[at] = high;
  reply[at + 1] = low;
  return Walk(reply);
}

class LookUpFaultsTest : public testing::Test {
 protected:
  LookUpFaultsTest() {
    dns_servers = "127.0.0.1";
    DoNotLog();
  }

  // An address look-up that is answered so gives nothing and logs nothing, at once.
  static void ExpectNothing(const Bytes& reply) {
    const ScriptedNameServer server([&](const Bytes&) { return Datagrams{reply}; });
    Texts values = {"old"};
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(CaptureLog([&] { EXPECT_EQ(DNSSocket("example.org").GetARecords(values), 0); }), "");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
    EXPECT_EQ(values, Texts{});
  }
};

}  // namespace

// Compression pointers.

TEST(MessageParserFaultsTest, APointerPastTheEndEndsTheName) {
  EXPECT_EQ(WalkName("\xC0\x2B"s), (Answers{{2, ""}}));      // the byte behind the last
  EXPECT_EQ(WalkName("\xFF\xFF"s), (Answers{{2, ""}}));      // as far as a pointer leads
  EXPECT_EQ(WalkName("\1a\xC0\x2D"s), (Answers{{2, "a"}}));  // the byte behind the last
  EXPECT_EQ(WalkNameAndAddress("\1a\xFF\xFF"s), (Answers{{2, "a"}, {1, "192.0.2.1"}}));
}

TEST(MessageParserFaultsTest, APointerPastTheEndAloneTakesOneByteSoTheWalkIsOutOfStep) {
  const Bytes owner = ToBytes("\xFF\xFF\0\1\0\1\0\0\1\x2C\0\4\xC0\0\2\1"s);
  EXPECT_EQ(Walk(Reply().SetAnswerCount(1).Raw(owner).Build()), (Answers{{0xFF00, ""}}));
}

TEST(MessageParserFaultsTest, APointerForwardIsFollowed) {
  // Over the next record's fixed part, to its data.
  EXPECT_EQ(Walk(Reply().Record(2, {0xC0, kData + 14}).Record(2, {1, 'a', 0}).Build()),
            (Answers{{2, "a"}, {2, "a"}}));
}

TEST(MessageParserFaultsTest, APointerIntoTheHeaderReadsItAsAName) {
  EXPECT_EQ(Walk(Reply().SetId(0x0161).SetFlags(0).Record(2, {0xC0, 0}).Build()),
            (Answers{{2, "a"}}));
}

TEST(MessageParserFaultsTest, APointerToItselfIsAnEmptyName) {
  EXPECT_EQ(WalkName("\xC0\x29"s), (Answers{{2, ""}}));
}

TEST(MessageParserFaultsTest, ALoopOfPointersIsAnEmptyName) {
  EXPECT_EQ(WalkName("\xC0\x2B\xC0\x29"s), (Answers{{2, ""}}));
  EXPECT_EQ(WalkName("\xC0\x2B\xC0\x2D\xC0\x29"s), (Answers{{2, ""}}));
}

TEST(MessageParserFaultsTest, ALoopThroughALabelEndsAfterAsManyPointersAsTheReplyHasBytes) {
  // A reply of 45 bytes: the 46th pointer is one too many.
  EXPECT_EQ(WalkName("\1a\xC0\x29"s), (Answers{{2, Repeat("a.", 45) + "a"}}));
}

TEST(MessageParserFaultsTest, ALoopOfAnOwnersNameEndsAndTheWalkStaysInStep) {
  const Bytes record = ToBytes("\1a\xC0\x1D\0\1\0\1\0\0\1\x2C\0\4\xC0\0\2\1"s);
  EXPECT_EQ(Walk(Reply().SetAnswerCount(1).Raw(record).Build()), kAddress);
}

TEST(MessageParserFaultsTest, AChainOfPointersIsFollowedToItsEnd) {
  // Each pointer leads to the one before it, the first to the question.
  Bytes chain = {0xC0, 0x0C};
  for (unsigned char target = kData; target < kData + 80; target += 2) {
    chain.insert(chain.end(), {0xC0, target});
  }
  EXPECT_EQ(Walk(Reply().Record(1, chain).Record(2, {0xC0, kData + 80}).Build()),
            (Answers{{1, "192.12.192.41"}, {2, "example.org"}}));
}

TEST(MessageParserFaultsTest, APointerWithoutItsSecondByteHasAZeroThere) {
  // It leads to the ID.
  EXPECT_EQ(Walk(Reply().SetId(0x0161).SetFlags(0).Record(2, {1, 'b', 0xC0}).Build()),
            (Answers{{2, "b.a"}}));
}

// Lengths of labels and names.

TEST(MessageParserFaultsTest, ALabelOver63CharactersIsReadByItsWholeLengthByte) {
  for (const int length : {64, 127, 128, 191}) {
    const std::string label(static_cast<std::size_t>(length), 'a');
    EXPECT_EQ(WalkNameAndAddress(static_cast<char>(length) + label + "\0"s),
              (Answers{{2, label}, {1, "192.0.2.1"}}))
        << length;
  }
}

TEST(MessageParserFaultsTest, ANameOver255BytesIsWholeAndTheWalkStaysInStep) {
  EXPECT_EQ(WalkNameAndAddress(Repeat("\5aaaaa", 60) + "\0"s),
            (Answers{{2, Repeat("aaaaa.", 59) + "aaaaa"}, {1, "192.0.2.1"}}));
}

TEST(MessageParserFaultsTest, ANameOver1024BytesEndsThereAndTheWalkStaysInStep) {
  // 100 labels over and over.
  EXPECT_EQ(WalkNameAndAddress(Repeat("\5aaaaa", 100) + "\xC0\x29"s),
            (Answers{{2, Repeat("aaaaa.", 170) + "aaa"}, {1, "192.0.2.1"}}));
}

TEST(MessageParserFaultsTest, ALabelThatRunsPastTheEndEndsWithTheReply) {
  EXPECT_EQ(WalkName("\x3F"s + "abc"), (Answers{{2, "abc"}}));
  EXPECT_EQ(WalkName("\xBF"s), (Answers{{2, ""}}));
  EXPECT_EQ(WalkName("\1a\x3F"s), (Answers{{2, "a."}}));
}

// Zero bytes at the end.

TEST(MessageParserFaultsTest, ANameWithoutItsZeroByteEndsWithTheReply) {
  EXPECT_EQ(WalkName("\1a\1b"s), (Answers{{2, "a.b"}}));
  EXPECT_EQ(Walk(Reply().SetAnswerCount(1).Raw(ToBytes("\1a\1b"s)).Build()), (Answers{{0, ""}}));
}

TEST(MessageParserFaultsTest, AZeroByteInsideALabelEndsTheNameAndTheWalkGoesOnAfterIt) {
  EXPECT_EQ(WalkNameAndAddress("\x09xyz\0"s), (Answers{{2, "xyz"}, {1, "192.0.2.1"}}));
}

TEST(MessageParserFaultsTest, ATextWithoutAZeroByteEndsWithTheReply) {
  EXPECT_EQ(Walk(Reply().Record(16, ToBytes("\4text"s)).Build()), (Answers{{16, "text"}}));
  EXPECT_EQ(Walk(Reply().Record(16, ToBytes("\xFFtext"s)).Build()), (Answers{{16, "text"}}));
  EXPECT_EQ(Walk(Reply().Record(16, ToBytes("\4"s)).Build()), (Answers{{16, ""}}));
}

// Length of the data.

TEST(MessageParserFaultsTest, AnAddressWithoutDataIsAllZerosAndTheWalkStaysInStep) {
  EXPECT_EQ(Walk(Reply().Record(1, {}).A("192.0.2.1").Build()),
            (Answers{{1, "0.0.0.0"}, {1, "192.0.2.1"}}));
}

TEST(MessageParserFaultsTest, AnAddressOfThreeBytesHasAZeroForTheFourth) {
  EXPECT_EQ(Walk(Reply().Record(1, {192, 1, 2}).A("192.0.2.1").Build()),
            (Answers{{1, "192.1.2.0"}, {1, "192.0.2.1"}}));
}

TEST(MessageParserFaultsTest, AnAddressWhoseLengthIsTooShortPutsTheWalkOutOfStep) {
  // It goes on at the second octet: a root owner, and the third and fourth as type.
  EXPECT_EQ(Walk(Reply().Record(1, 1, {192, 0, 2, 1}).A("192.0.2.2").Build()),
            (Answers{{1, "192.0.0.0"}, {0x0201, ""}}));
}

TEST(MessageParserFaultsTest, AnAddressWhoseLengthIsTooLongSwallowsWhatFollows) {
  EXPECT_EQ(Walk(Reply().Record(1, 20, {192, 0, 2, 1}).A("192.0.2.2").A("192.0.2.3").Build()),
            (Answers{{1, "192.0.2.1"}, {1, "192.0.2.3"}}));
}

TEST(MessageParserFaultsTest, AnAddressWhoseLengthPassesTheEndEndsTheWalk) {
  for (const std::uint16_t length : Numbers{21, 65535}) {
    EXPECT_EQ(Walk(Reply().Record(1, length, {192, 0, 2, 1}).A("192.0.2.2").Build()), kAddress)
        << length;
  }
}

TEST(MessageParserFaultsTest, ANameIsReadByItsLabelsWhateverTheLengthOfTheData) {
  for (const std::uint16_t length : Numbers{0, 1, 65535}) {
    EXPECT_EQ(Walk(Reply().Record(2, length, {1, 'a', 0}).A("192.0.2.1").Build()),
              (Answers{{2, "a"}, {1, "192.0.2.1"}}))
        << length;
  }
}

TEST(MessageParserFaultsTest, ATextIsReadToItsZeroByteWhateverTheLengthOfTheData) {
  for (const std::uint16_t length : Numbers{0, 1, 65535}) {
    EXPECT_EQ(Walk(Reply().Record(16, length, ToBytes("\4text"s)).A("192.0.2.1").Build()),
              (Answers{{16, "text\xC0\x0C"}, {1, "192.0.2.1"}}))
        << length;
  }
}

TEST(MessageParserFaultsTest, DataOfAnUnknownTypeIsNeverSkippedWhateverItsLength) {
  EXPECT_EQ(Walk(Reply().Record(99, 65535, {}).A("192.0.2.1").Build()),
            (Answers{{99, ""}, {1, "192.0.2.1"}}));
}

TEST(MessageParserFaultsTest, BytesThatAReplyLacksReadAsZeros) {
  const Bytes reply = Reply().A("192.0.2.25").Build();
  ASSERT_EQ(reply.size(), 45U);
  struct Row {
    std::ptrdiff_t first;
    std::ptrdiff_t last;
    Answers answers;
  };
  const Row rows[] = {
      {0, 29, {}},                   // no record
      {30, 32, {{0, ""}}},           // its type is not whole
      {33, 41, {{1, "0.0.0.0"}}},    // no data, or no length
      {42, 43, {{1, "192.0.0.0"}}},  // the second octet is 0
      {44, 44, {{1, "192.0.2.0"}}},
      {45, 45, {{1, "192.0.2.25"}}},
  };
  for (const Row& row : rows) {
    for (std::ptrdiff_t length = row.first; length <= row.last; ++length) {
      EXPECT_EQ(Walk({reply.begin(), reply.begin() + length}), row.answers) << length << " bytes";
    }
  }
}

// Counts of records.

TEST(MessageParserFaultsTest, AnAnswerCountAboveTheContentEndsWithTheReply) {
  for (const std::uint16_t count : Numbers{3, 65535}) {
    EXPECT_EQ(Walk(Reply().A("192.0.2.1").A("192.0.2.2").SetAnswerCount(count).Build()),
              (Answers{{1, "192.0.2.1"}, {1, "192.0.2.2"}}))
        << count;
  }
}

TEST(MessageParserFaultsTest, AnAnswerCountBelowTheContentLeavesTheRestUnread) {
  EXPECT_EQ(Walk(Reply().A("192.0.2.1").A("192.0.2.2").SetAnswerCount(1).Build()), kAddress);
  EXPECT_EQ(Walk(Reply().A("192.0.2.1").A("192.0.2.2").SetAnswerCount(0).Build()), kNone);
}

TEST(MessageParserFaultsTest, AQuestionCountAboveOrBelowTheContentIsNotRead) {
  EXPECT_EQ(WalkWithCount(kQuestionCount, 0, 0), kAddress);
  EXPECT_EQ(WalkWithCount(kQuestionCount, 0xFF, 0xFF), kAddress);
}

TEST(MessageParserFaultsTest, AnAuthorityCountAboveTheContentIsNotRead) {
  EXPECT_EQ(WalkWithCount(kAuthorityCount, 0xFF, 0xFF), kAddress);
}

TEST(MessageParserFaultsTest, AnAdditionalCountAboveTheContentIsNotRead) {
  EXPECT_EQ(WalkWithCount(kAdditionalCount, 0xFF, 0xFF), kAddress);
}

TEST(MessageParserFaultsTest, AuthorityAndAdditionalRecordsAreNotAnswersWhateverTheirCounts) {
  for (const int count : {0, 1}) {
    Bytes reply = Reply().A("192.0.2.1").A("192.0.2.2").A("192.0.2.3").SetAnswerCount(1).Build();
    reply[kAuthorityCount + 1] = static_cast<unsigned char>(count);
    reply[kAdditionalCount + 1] = static_cast<unsigned char>(count);
    EXPECT_EQ(Walk(reply), kAddress) << count;
  }
}

// Through a look-up.

TEST_F(LookUpFaultsTest, AnEmptyDatagramGivesNothing) {
  ExpectNothing({});
}

TEST_F(LookUpFaultsTest, CountsFarAboveAReplyThatEndsWithItsHeaderGiveNothing) {
  ExpectNothing(ToBytes("\x12\x34\x81\x80\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s));
}

TEST_F(LookUpFaultsTest, CountsFarAboveAReplyThatEndsWithItsQuestionGiveNothing) {
  Bytes reply = Reply().Build();
  std::fill(reply.begin() + kQuestionCount, reply.begin() + kAdditionalCount + 2, 0xFF);
  ExpectNothing(reply);
}

TEST_F(LookUpFaultsTest, AHeaderThatIsNotWholeGivesNothing) {
  ExpectNothing({0x12});
  ExpectNothing(ToBytes("\x12\x34\x81\x80\0\1\xFF"s));
}
