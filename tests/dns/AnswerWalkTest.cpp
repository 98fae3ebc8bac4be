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

constexpr std::uint32_t kStart = 29;  // behind the question for example.org

// Of ID, flags with the response code, and the other counts.
constexpr std::size_t kOtherHeaderBytes[] = {0, 1, 2, 3, 4, 5, 8, 9, 10, 11};

// Type and value of each record.
using Answers = std::vector<std::pair<std::uint16_t, std::string>>;

// To a query for the addresses of example.org.
ReplyBuilder Reply() {
  return ReplyBuilder(Bytes{0x12, 0x34, 1,   0,   0,   1,   0,   0, 0,   0,   0,   0, 7,
                            'e',  'x',  'a', 'm', 'p', 'l', 'e', 3, 'o', 'r', 'g', 0, 0,
                            1,    0,    1,   0,   0,   0,   0,   0, 0,   0,   0});
}

Answers Walk(const Bytes& reply, std::uint32_t start = kStart) {
  Answers answers;
  AnswerWalk walk(reply, start);
  AnswerWalk::Answer answer;
  while (walk.Next(answer)) {
    answers.emplace_back(answer.type, answer.value);
  }
  return answers;
}

}  // namespace

// The header and the question.

TEST(AnswerWalkTest, AnAnswerCountOfZeroEndsTheWalkWhateverFollows) {
  EXPECT_EQ(Walk(Reply().A("192.0.2.25").TXT({"text"}).SetAnswerCount(0).Build()), Answers{});
}

TEST(AnswerWalkTest, RecordsAfterTheAnswerCountAreNotWalked) {
  EXPECT_EQ(Walk(Reply().A("192.0.2.1").A("192.0.2.2").SetAnswerCount(1).Build()),
            (Answers{{1, "192.0.2.1"}}));
}

TEST(AnswerWalkTest, TheAnswerCountHasTwoBytes) {
  ReplyBuilder reply = Reply();
  for (int i = 0; i < 300; ++i) {
    reply.A("192.0.2.1");
  }
  EXPECT_EQ(Walk(reply.Build()).size(), 300U);
}

TEST(AnswerWalkTest, OfTheHeaderOnlyTheAnswerCountIsRead) {
  Bytes reply = Reply().A("192.0.2.25").Build();
  for (const std::size_t at : kOtherHeaderBytes) {
    reply[at] = 0xFF;
  }
  EXPECT_EQ(Walk(reply), (Answers{{1, "192.0.2.25"}}));
  for (const std::size_t at : kOtherHeaderBytes) {
    reply[at] = 0;  // not even a response
  }
  EXPECT_EQ(Walk(reply), (Answers{{1, "192.0.2.25"}}));
}

TEST(AnswerWalkTest, TheQuestionIsSkippedUnread) {
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

// Owner names and fixed fields.

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

TEST(AnswerWalkTest, AnOwnerThatIsAPointerToTheRootPutsTheWalkOutOfStep) {
  // One byte is counted for it: its second byte, 11, is then the high byte of the type.
  Bytes reply = Reply().SetAnswerCount(1).Raw(ToBytes("\xC0\x0B\0\1\0\1"s)).Build();
  reply[11] = 0;
  EXPECT_EQ(Walk(reply), (Answers{{0x0B00, ""}}));
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

// Addresses.

TEST(AnswerWalkTest, AnAddressIsADottedQuad) {
  EXPECT_EQ(Walk(Reply().A("192.0.2.25").Build()), (Answers{{1, "192.0.2.25"}}));
  EXPECT_EQ(Walk(Reply().A("0.0.0.0").A("255.255.255.255").Build()),
            (Answers{{1, "0.0.0.0"}, {1, "255.255.255.255"}}));
}

TEST(AnswerWalkTest, AddressesComeInTheOrderOfTheReplyDuplicatesKept) {
  EXPECT_EQ(Walk(Reply().A("192.0.2.2").A("192.0.2.1").A("192.0.2.2").Build()),
            (Answers{{1, "192.0.2.2"}, {1, "192.0.2.1"}, {1, "192.0.2.2"}}));
}

TEST(AnswerWalkTest, AnAddressIsSkippedByItsRdLength) {
  EXPECT_EQ(Walk(Reply().Record(1, {192, 0, 2, 1, 9, 9, 9, 9}).A("192.0.2.2").Build()),
            (Answers{{1, "192.0.2.1"}, {1, "192.0.2.2"}}));
  Bytes large(260, 7);
  EXPECT_EQ(Walk(Reply().Record(1, large).A("192.0.2.2").Build()),
            (Answers{{1, "7.7.7.7"}, {1, "192.0.2.2"}}));
}

TEST(AnswerWalkTest, AnAddressOfFewerThanFourBytesIsFilledWithZeros) {
  EXPECT_EQ(Walk(Reply().Record(1, {}).Record(1, {192}).Record(1, {192, 1, 2}).Build()),
            (Answers{{1, "0.0.0.0"}, {1, "192.0.0.0"}, {1, "192.1.2.0"}}));
}

// Name servers.

TEST(AnswerWalkTest, ANameServerGivenAsPointerIsWrittenOutAndTakesTwoBytes) {
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
  EXPECT_EQ(Walk(Reply().Record(2, 65535, {0xC0, 0x0C}).A("192.0.2.25").Build()),
            (Answers{{2, "example.org"}, {1, "192.0.2.25"}}));
}

// Mail exchangers.

TEST(AnswerWalkTest, AMailExchangerWithAPreferenceBelow256HasNoValue) {
  EXPECT_EQ(Walk(Reply().MX(10, "mail.example.org").Build()), (Answers{{15, ""}}));
}

TEST(AnswerWalkTest, AfterSuchAMailExchangerTheWalkIsOutOfStep) {
  // The rest of its RDATA is taken for an owner name, what follows for the type.
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

// Texts.

TEST(AnswerWalkTest, ATextAtTheEndOfTheReplyIsExact) {
  EXPECT_EQ(Walk(Reply().TXT({"v=spf1 -all"}).Build()), (Answers{{16, "v=spf1 -all"}}));
}

TEST(AnswerWalkTest, ATextRunsOnOverTheNextOwnersPointerAndTheWalkStaysInStep) {
  EXPECT_EQ(Walk(Reply().TXT({"one"}).TXT({"two"}).A("192.0.2.25").Build()),
            (Answers{{16, "one\xC0\x0C"}, {16, "two\xC0\x0C"}, {1, "192.0.2.25"}}));
}

TEST(AnswerWalkTest, ATextRunsOnOverTheNextOwnersNameInFull) {
  const std::string address = "\7example\3org\0\0\1\0\1\0\0\1\x2C\0\4\xC0\0\2\x19"s;
  EXPECT_EQ(Walk(Reply().TXT({"text"}).SetAnswerCount(2).Raw(ToBytes(address)).Build()),
            (Answers{{16, "text\7example\3org"}, {1, "192.0.2.25"}}));
}

TEST(AnswerWalkTest, TheStringsOfATextAreJoinedWithTheirLengthBytesBetween) {
  EXPECT_EQ(Walk(Reply().TXT({"v=spf1 ", "-all", ""}).Build()), (Answers{{16, "v=spf1 \4-all"}}));
}

TEST(AnswerWalkTest, ATextEndsAtAZeroByteAndTheWalkIsOutOfStep) {
  EXPECT_EQ(Walk(Reply().TXT({"ab\0cd"s}).A("192.0.2.25").Build()),
            (Answers{{16, "ab"}, {0x6364, ""}}));
}

TEST(AnswerWalkTest, AnEmptyTextAtTheEndHasNoValue) {
  EXPECT_EQ(Walk(Reply().TXT({""}).Build()), (Answers{{16, ""}}));
  EXPECT_EQ(Walk(Reply().Record(16, {}).Build()), (Answers{{16, ""}}));
}

TEST(AnswerWalkTest, AnEmptyTextStepsBackByOneByte) {
  // To the low byte of its RDLENGTH, which is zero here and so the next owner; the first two bytes
  // of RDATA are then the next type.
  EXPECT_EQ(Walk(Reply().Record(16, 0, {5, 0, 1, 1, 1, 1}).SetAnswerCount(2).Build()),
            (Answers{{16, ""}, {0x0500, ""}}));
}

TEST(AnswerWalkTest, AnEmptyTextBeforeAPointerConsistsOfThatPointer) {
  EXPECT_EQ(Walk(Reply().TXT({""}).A("192.0.2.25").Build()),
            (Answers{{16, "\xC0\x0C"}, {1, "192.0.2.25"}}));
}

TEST(AnswerWalkTest, TheRdLengthOfATextIsNotRead) {
  EXPECT_EQ(Walk(Reply().Record(16, 1, ToBytes("\4text")).A("192.0.2.25").Build()),
            (Answers{{16, "text\xC0\x0C"}, {1, "192.0.2.25"}}));
  EXPECT_EQ(Walk(Reply().Record(16, 65535, ToBytes("\4text")).A("192.0.2.25").Build()),
            (Answers{{16, "text\xC0\x0C"}, {1, "192.0.2.25"}}));
}

// Other types.

TEST(AnswerWalkTest, TheAddressOfAnAliasIsNotFound) {
  EXPECT_EQ(Walk(Reply().CNAME("host.example.org").A("192.0.2.25").Build()),
            (Answers{{5, ""}, {0xC00C, ""}}));
  EXPECT_EQ(Walk(Reply().Record(5, {0xC0, 0x0C}).A("192.0.2.25").Build()),
            (Answers{{5, ""}, {0xC00C, ""}}));
}

TEST(AnswerWalkTest, AfterAnUnknownTypeTheWalkGoesOnInItsData) {
  EXPECT_EQ(Walk(Reply().Record(28, Bytes(16, 0)).A("192.0.2.25").Build()),
            (Answers{{28, ""}, {0, ""}}));
  // Data that is a record itself is taken for the next one.
  EXPECT_EQ(Walk(Reply()
                     .Record(99, ToBytes("\0\0\1\0\1\0\0\1\x2C\0\4\xC0\0\2\7"s))
                     .A("192.0.2.25")
                     .Build()),
            (Answers{{99, ""}, {1, "192.0.2.7"}}));
}

TEST(AnswerWalkTest, AnUnknownTypeWithoutDataLeavesTheWalkInStep) {
  EXPECT_EQ(Walk(Reply().Record(99, {}).A("192.0.2.25").Build()),
            (Answers{{99, ""}, {1, "192.0.2.25"}}));
}

// The end.

TEST(AnswerWalkTest, TheWalkEndsWithTheReplyWhenTheCountPromisesMore) {
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
