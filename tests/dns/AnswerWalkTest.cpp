#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "framework/dns/AnswerWalk.h"
#include "tests/support/Bytes.h"
#include "tests/support/ReplyBuilder.h"

using namespace std::string_literals;

namespace {

constexpr std::uint32_t kStart = 29;  // after the question for example.org

// The positions of the ID, the flags and the other counts.
constexpr std::size_t kOtherHeaderBytes[] = {0, 1, 2, 3, 4, 5, 8, 9, 10, 11};

using Numbers = std::vector<std::uint16_t>;

// Type and value of each record.
using Answers = std::vector<std::pair<std::uint16_t, std::string>>;

// Returns a reply to a query for the addresses of example.org.
ReplyBuilder Reply() {
  return ReplyBuilder(
      ToBytes("\x12\x34\1\0\0\1\0\0\0\0\0\0\7example\3org\0\0\1\0\1\0\0\0\0\0\0\0\0"s));
}

Answers Walk(const Bytes& reply, std::uint32_t start = kStart) {
  const Bytes exact(reply);  // without room after its end, so that a sanitizer sees a read there
  Answers answers;
  AnswerWalk walk(exact, start);
  AnswerWalk::Answer answer;
  while (walk.Next(answer)) {
    answers.emplace_back(answer.type, answer.value);
  }
  return answers;
}

}  // namespace

TEST(AnswerWalkTest, AnAnswerCountOfZeroGivesNothingWhateverFollows) {
  EXPECT_EQ(Walk(Reply().A("192.0.2.25").TXT({"text"}).SetAnswerCount(0).Build()), Answers{});
}

TEST(AnswerWalkTest, RecordsAfterTheAnswerCountAreNotWalkedWhateverTheOtherCounts) {
  for (const unsigned char count : Bytes{0, 1}) {
    Bytes reply = Reply().A("192.0.2.1").A("192.0.2.2").A("192.0.2.3").SetAnswerCount(1).Build();
    reply[9] = reply[11] = count;
    EXPECT_EQ(Walk(reply), (Answers{{1, "192.0.2.1"}}));
  }
}

TEST(AnswerWalkTest, TheAnswerCountHasTwoBytes) {
  ReplyBuilder reply = Reply();
  for (int i = 0; i < 300; ++i) {
    reply.A("192.0.2.1");
  }
  EXPECT_EQ(Walk(reply.Build()).size(), 300U);
}

TEST(AnswerWalkTest, OnlyTheAnswerCountOfTheHeaderIsRead) {
  Bytes reply = Reply().A("192.0.2.25").Build();
  for (const std::size_t at : kOtherHeaderBytes) {
    reply[at] = 0xFF;
  }
  EXPECT_EQ(Walk(reply), (Answers{{1, "192.0.2.25"}}));
  for (const std::size_t at : kOtherHeaderBytes) {
    reply[at] = 0;
  }
  EXPECT_EQ(Walk(reply), (Answers{{1, "192.0.2.25"}}));
}

TEST(AnswerWalkTest, TheQuestionIsSkippedWithoutReading) {
  Bytes reply = Reply().Record(1, {192, 0, 2, 25}).Build();
  std::fill(reply.begin() + 12, reply.begin() + kStart, static_cast<unsigned char>('?'));
  EXPECT_EQ(Walk(reply), (Answers{{1, "192.0.2.25"}}));
}

TEST(AnswerWalkTest, AReplyWithoutItsQuestionIsWalkedFromTheSamePlace) {
  Bytes reply = Reply().A("192.0.2.25").Build();
  reply.erase(reply.begin() + 12, reply.begin() + kStart);
  EXPECT_EQ(Walk(reply), Answers{});
}

TEST(AnswerWalkTest, AStartPastTheEndGivesNothing) {
  const Bytes reply = Reply().A("192.0.2.25").Build();
  EXPECT_EQ(Walk(reply, static_cast<std::uint32_t>(reply.size())), Answers{});
  EXPECT_EQ(Walk(reply, std::numeric_limits<std::uint32_t>::max()), Answers{});
  EXPECT_EQ(Walk({}, 0), Answers{});
}

TEST(AnswerWalkTest, OwnerNamesAreSkippedInEachForm) {
  const std::string record = "\0\1\0\1\0\0\1\x2C\0\4\xC0\0\2\x19"s;  // 192.0.2.25
  for (const std::string& owner :
       {"\xC0\x0C"s, "\1a\1b\0"s, "\0"s, "\3www\xC0\x0C"s, "\7example\3org\0"s}) {
    const Bytes reply =
        Reply().SetAnswerCount(2).Raw(ToBytes(owner + record)).Raw(ToBytes(owner + record)).Build();
    EXPECT_EQ(Walk(reply), (Answers{{1, "192.0.2.25"}, {1, "192.0.2.25"}}))
        << testing::PrintToString(owner);
  }
}

TEST(AnswerWalkTest, AnOwnerThatIsAPointerToTheRootOrPastTheEndPutsTheWalkOutOfStep) {
  // It counts as one byte, so its second byte is the high byte of the type.
  Bytes reply = Reply().SetAnswerCount(1).Raw(ToBytes("\xC0\x0B\0\1\0\1"s)).Build();
  reply[11] = 0;
  EXPECT_EQ(Walk(reply), (Answers{{0x0B00, ""}}));
  const Bytes pastTheEnd = ToBytes("\xFF\xFF\0\1\0\1\0\0\1\x2C\0\4\xC0\0\2\1"s);
  EXPECT_EQ(Walk(Reply().SetAnswerCount(1).Raw(pastTheEnd).Build()), (Answers{{0xFF00, ""}}));
}

TEST(AnswerWalkTest, AnOwnerThatIsALoopEndsAndLeavesTheWalkInStep) {
  const Bytes record = ToBytes("\1a\xC0\x1D\0\1\0\1\0\0\1\x2C\0\4\xC0\0\2\1"s);
  EXPECT_EQ(Walk(Reply().SetAnswerCount(1).Raw(record).Build()), (Answers{{1, "192.0.2.1"}}));
}

TEST(AnswerWalkTest, AnOwnerWithoutItsZeroByteEndsWithTheReply) {
  EXPECT_EQ(Walk(Reply().SetAnswerCount(1).Raw(ToBytes("\1a\1b"s)).Build()), (Answers{{0, ""}}));
}

TEST(AnswerWalkTest, TheOwnerDoesNotHaveToBeTheDomainAsked) {
  EXPECT_EQ(Walk(Reply()
                     .SetAnswerCount(1)
                     .Raw(ToBytes("\5other\4test\0\0\1\0\1\0\0\1\x2C\0\4\xC0\0\2\1"s))
                     .Build()),
            (Answers{{1, "192.0.2.1"}}));
}

TEST(AnswerWalkTest, ClassAndTimeToLiveAreNotRead) {
  const std::string record = "\xC0\x0C\0\1\xFF\xFF\xFF\xFF\xFF\xFF\0\4\xC0\0\2\x19"s;
  EXPECT_EQ(Walk(Reply().SetAnswerCount(1).Raw(ToBytes(record)).Build()),
            (Answers{{1, "192.0.2.25"}}));
}

TEST(AnswerWalkTest, TheTypeHasTwoBytes) {
  EXPECT_EQ(Walk(Reply().Record(0x0101, {}).Record(0x1001, {}).A("192.0.2.1").Build()),
            (Answers{{0x0101, ""}, {0x1001, ""}, {1, "192.0.2.1"}}));
}

TEST(AnswerWalkTest, AnAddressIsADottedQuad) {
  EXPECT_EQ(Walk(Reply().A("192.0.2.25").Build()), (Answers{{1, "192.0.2.25"}}));
  EXPECT_EQ(Walk(Reply().A("0.0.0.0").A("255.255.255.255").Build()),
            (Answers{{1, "0.0.0.0"}, {1, "255.255.255.255"}}));
}

TEST(AnswerWalkTest, AddressesKeepTheOrderOfTheReplyAndDuplicates) {
  EXPECT_EQ(Walk(Reply().A("192.0.2.2").A("192.0.2.1").A("192.0.2.2").Build()),
            (Answers{{1, "192.0.2.2"}, {1, "192.0.2.1"}, {1, "192.0.2.2"}}));
}

TEST(AnswerWalkTest, AnAddressIsSkippedByItsRdLength) {
  EXPECT_EQ(Walk(Reply().Record(1, {192, 0, 2, 1, 9, 9, 9, 9}).A("192.0.2.2").Build()),
            (Answers{{1, "192.0.2.1"}, {1, "192.0.2.2"}}));
  EXPECT_EQ(Walk(Reply().Record(1, Bytes(260, 7)).A("192.0.2.2").Build()),
            (Answers{{1, "7.7.7.7"}, {1, "192.0.2.2"}}));
}

TEST(AnswerWalkTest, AnAddressWhoseRdLengthIsTooShortPutsTheWalkOutOfStep) {
  // The walk goes on at the second octet: the root as owner, then the type.
  EXPECT_EQ(Walk(Reply().Record(1, 1, {192, 0, 2, 1}).A("192.0.2.2").Build()),
            (Answers{{1, "192.0.0.0"}, {0x0201, ""}}));
}

TEST(AnswerWalkTest, AnAddressWhoseRdLengthIsTooLongSwallowsWhatFollows) {
  EXPECT_EQ(Walk(Reply().Record(1, 20, {192, 0, 2, 1}).A("192.0.2.2").A("192.0.2.3").Build()),
            (Answers{{1, "192.0.2.1"}, {1, "192.0.2.3"}}));
  for (const std::uint16_t length : Numbers{21, 65535}) {
    EXPECT_EQ(Walk(Reply().Record(1, length, {192, 0, 2, 1}).A("192.0.2.2").Build()),
              (Answers{{1, "192.0.2.1"}}))
        << length;
  }
}

TEST(AnswerWalkTest, AnAddressOfFewerThanFourBytesIsFilledWithZeros) {
  EXPECT_EQ(Walk(Reply().Record(1, {}).Record(1, {192}).Record(1, {192, 1, 2}).Build()),
            (Answers{{1, "0.0.0.0"}, {1, "192.0.0.0"}, {1, "192.1.2.0"}}));
}

TEST(AnswerWalkTest, ANameServerGivenAsAPointerIsReadInFullAndTakesTwoBytes) {
  EXPECT_EQ(Walk(Reply().Record(2, {0xC0, 0x0C}).A("192.0.2.25").Build()),
            (Answers{{2, "example.org"}, {1, "192.0.2.25"}}));
}

TEST(AnswerWalkTest, NameServersAreHostNames) {
  EXPECT_EQ(Walk(Reply()
                     .NS("ns1.example.net")
                     .Record(2, {3, 'n', 's', '2', 0xC0, 0x0C})
                     .NS("NS3.Example.Net")
                     .Build()),
            (Answers{{2, "ns1.example.net"}, {2, "ns2.example.org"}, {2, "NS3.Example.Net"}}));
}

TEST(AnswerWalkTest, ANameServerThatIsTheRootIsEmptyAndTakesOneByte) {
  EXPECT_EQ(Walk(Reply().NS("").A("192.0.2.25").Build()), (Answers{{2, ""}, {1, "192.0.2.25"}}));
}

TEST(AnswerWalkTest, TheRdLengthOfANameServerIsNotRead) {
  for (const std::uint16_t length : Numbers{0, 1, 65535}) {
    EXPECT_EQ(Walk(Reply().Record(2, length, {1, 'a', 0}).A("192.0.2.1").Build()),
              (Answers{{2, "a"}, {1, "192.0.2.1"}}))
        << length;
  }
}

TEST(AnswerWalkTest, AMailExchangerWithAPreferenceBelow256HasNoValue) {
  EXPECT_EQ(Walk(Reply().MX(10, "mail.example.org").Build()), (Answers{{15, ""}}));
}

TEST(AnswerWalkTest, AfterSuchAMailExchangerTheWalkIsOutOfStep) {
  // The rest of its RDATA is read as an owner, and the bytes after it as the type.
  EXPECT_EQ(Walk(Reply().MX(10, "mail.example.org").A("192.0.2.25").Build()),
            (Answers{{15, ""}, {0xC00C, ""}}));
}

TEST(AnswerWalkTest, ThePreferenceOfAMailExchangerIsReadAsPartOfItsName) {
  // 300 is the label ",".
  EXPECT_EQ(Walk(Reply().MX(300, "mail.example.org").A("192.0.2.25").Build()),
            (Answers{{15, ",.mail.example.org"}, {1, "192.0.2.25"}}));
  // 0xC00C is a pointer to the question.
  EXPECT_EQ(Walk(Reply().MX(0xC00C, "mail.example.org").Build()), (Answers{{15, "example.org"}}));
}

TEST(AnswerWalkTest, ATextAtTheEndOfTheReplyIsExact) {
  EXPECT_EQ(Walk(Reply().TXT({"v=spf1 -all"}).Build()), (Answers{{16, "v=spf1 -all"}}));
}

TEST(AnswerWalkTest, ATextIncludesThePointerOfTheNextOwnerAndLeavesTheWalkInStep) {
  EXPECT_EQ(Walk(Reply().TXT({"one"}).TXT({"two"}).A("192.0.2.25").Build()),
            (Answers{{16, "one\xC0\x0C"}, {16, "two\xC0\x0C"}, {1, "192.0.2.25"}}));
}

TEST(AnswerWalkTest, ATextIncludesTheFullNameOfTheNextOwner) {
  const std::string address = "\7example\3org\0\0\1\0\1\0\0\1\x2C\0\4\xC0\0\2\x19"s;
  EXPECT_EQ(Walk(Reply().TXT({"text"}).SetAnswerCount(2).Raw(ToBytes(address)).Build()),
            (Answers{{16, "text\7example\3org"}, {1, "192.0.2.25"}}));
}

TEST(AnswerWalkTest, TheStringsOfATextAreJoinedByTheirLengthBytes) {
  EXPECT_EQ(Walk(Reply().TXT({"v=spf1 ", "-all", ""}).Build()), (Answers{{16, "v=spf1 \4-all"}}));
}

TEST(AnswerWalkTest, ATextEndsAtAZeroByteAndTheWalkIsOutOfStep) {
  EXPECT_EQ(Walk(Reply().TXT({"ab\0cd"s}).A("192.0.2.25").Build()),
            (Answers{{16, "ab"}, {0x6364, ""}}));
}

TEST(AnswerWalkTest, AnEmptyTextAtTheEndHasAnEmptyValue) {
  EXPECT_EQ(Walk(Reply().TXT({""}).Build()), (Answers{{16, ""}}));
  EXPECT_EQ(Walk(Reply().Record(16, {}).Build()), (Answers{{16, ""}}));
}

TEST(AnswerWalkTest, AnEmptyTextStepsBackByOneByte) {
  // The low byte of its RDLENGTH, a zero, is then the next owner, and the first two bytes of RDATA
  // are the next type.
  EXPECT_EQ(Walk(Reply().Record(16, 0, {5, 0, 1, 1, 1, 1}).SetAnswerCount(2).Build()),
            (Answers{{16, ""}, {0x0500, ""}}));
}

TEST(AnswerWalkTest, AnEmptyTextBeforeAPointerIsThatPointer) {
  EXPECT_EQ(Walk(Reply().TXT({""}).A("192.0.2.25").Build()),
            (Answers{{16, "\xC0\x0C"}, {1, "192.0.2.25"}}));
}

TEST(AnswerWalkTest, TheRdLengthOfATextIsNotRead) {
  for (const std::uint16_t length : Numbers{0, 1, 65535}) {
    EXPECT_EQ(Walk(Reply().Record(16, length, ToBytes("\4text")).A("192.0.2.25").Build()),
              (Answers{{16, "text\xC0\x0C"}, {1, "192.0.2.25"}}))
        << length;
  }
}

TEST(AnswerWalkTest, TheAddressOfAnAliasIsNotFound) {
  EXPECT_EQ(Walk(Reply().CNAME("host.example.org").A("192.0.2.25").Build()),
            (Answers{{5, ""}, {0xC00C, ""}}));
  EXPECT_EQ(Walk(Reply().Record(5, {0xC0, 0x0C}).A("192.0.2.25").Build()),
            (Answers{{5, ""}, {0xC00C, ""}}));
}

TEST(AnswerWalkTest, AfterAnUnknownTypeTheWalkGoesOnInItsData) {
  EXPECT_EQ(Walk(Reply().Record(28, Bytes(16, 0)).A("192.0.2.25").Build()),
            (Answers{{28, ""}, {0, ""}}));
  // Data that looks like a record is read as the next one.
  EXPECT_EQ(Walk(Reply()
                     .Record(99, ToBytes("\0\0\1\0\1\0\0\1\x2C\0\4\xC0\0\2\7"s))
                     .A("192.0.2.25")
                     .Build()),
            (Answers{{99, ""}, {1, "192.0.2.7"}}));
}

TEST(AnswerWalkTest, AnUnknownTypeWithoutDataLeavesTheWalkInStepWhateverItsRdLength) {
  for (const std::uint16_t length : Numbers{0, 65535}) {
    EXPECT_EQ(Walk(Reply().Record(99, length, {}).A("192.0.2.25").Build()),
              (Answers{{99, ""}, {1, "192.0.2.25"}}))
        << length;
  }
}

TEST(AnswerWalkTest, AnAnswerCountAboveTheContentEndsWithTheReply) {
  EXPECT_EQ(Walk(Reply().A("192.0.2.1").A("192.0.2.2").SetAnswerCount(65535).Build()),
            (Answers{{1, "192.0.2.1"}, {1, "192.0.2.2"}}));
}

TEST(AnswerWalkTest, AnEndedWalkStaysEnded) {
  const Bytes reply = Reply().A("192.0.2.1").Build();
  AnswerWalk walk(reply, kStart);
  AnswerWalk::Answer answer;
  EXPECT_TRUE(walk.Next(answer));
  EXPECT_FALSE(walk.Next(answer));
  EXPECT_FALSE(walk.Next(answer));
}

TEST(AnswerWalkTest, MissingBytesReadAsZeros) {
  const Bytes reply = Reply().A("192.0.2.25").Build();
  ASSERT_EQ(reply.size(), 45U);
  const struct {
    std::ptrdiff_t first;
    std::ptrdiff_t last;
    Answers answers;
  } rows[] = {
      {0, 29, {}},                   // no record
      {30, 32, {{0, ""}}},           // an incomplete type
      {33, 41, {{1, "0.0.0.0"}}},    // no data, or no length
      {42, 43, {{1, "192.0.0.0"}}},  // the second octet is 0
      {44, 44, {{1, "192.0.2.0"}}},
      {45, 45, {{1, "192.0.2.25"}}},
  };
  for (const auto& row : rows) {
    for (std::ptrdiff_t length = row.first; length <= row.last; ++length) {
      EXPECT_EQ(Walk({reply.begin(), reply.begin() + length}), row.answers) << length << " bytes";
    }
  }
}
