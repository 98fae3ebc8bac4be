#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "framework/dns/MessageCodec.h"
#include "tests/support/ReplyBuilder.h"
#include "tool/ReplyFacts.h"

using namespace std::string_literals;

namespace {

using Outcome = LookUp::Outcome;
using Numbers = std::vector<std::uint16_t>;
using Texts = std::vector<std::string>;

constexpr std::size_t kRoom = 1024;

Bytes Query(const std::string& domain = "example.org") {
  return MessageCodec::EncodeQuery(domain, MessageCodec::kTypeA, 7);
}

ReplyFacts Read(const Bytes& reply, const Bytes& query = Query()) {
  Bytes bytes = reply;
  bytes.shrink_to_fit();  // so that a sanitizer sees a read past the end
  return ReadReplyFacts(bytes, query, kRoom);
}

ReplyFacts ReadReply(const std::function<void(ReplyBuilder& reply)>& build) {
  ReplyBuilder reply(Query());
  build(reply);
  return Read(reply.Build());
}

}  // namespace

TEST(ReplyFactsTest, AnAnswerHasItsAddressesInTheirOrder) {
  const ReplyFacts facts =
      ReadReply([](ReplyBuilder& reply) { reply.A("192.0.2.9").A("192.0.2.1").A("192.0.2.9"); });
  EXPECT_EQ(facts.outcome, Outcome::kAnswered);
  EXPECT_EQ(facts.addresses, (Texts{"192.0.2.9", "192.0.2.1", "192.0.2.9"}));
  EXPECT_EQ(facts.texts, Texts{});
}

TEST(ReplyFactsTest, TheStringsOfATextAreJoined) {
  const ReplyFacts facts = ReadReply([](ReplyBuilder& reply) {
    reply.TXT({"v=spf1 ip4:192.0.2.1", "", " -all"}).TXT({"a\0b"s}).TXT({std::string(255, 'x')});
  });
  EXPECT_EQ(facts.outcome, Outcome::kAnswered);
  EXPECT_EQ(facts.texts, (Texts{"v=spf1 ip4:192.0.2.1 -all", "a\0b"s, std::string(255, 'x')}));
}

TEST(ReplyFactsTest, OtherTypesAreSkippedByTheirLength) {
  const ReplyFacts facts = ReadReply([](ReplyBuilder& reply) {
    reply.NS("ns.example.net").MX(10, "mail.example.org").Record(28, Bytes(16)).A("192.0.2.1");
  });
  EXPECT_EQ(facts.outcome, Outcome::kAnswered);
  EXPECT_EQ(facts.addresses, (Texts{"192.0.2.1"}));
}

TEST(ReplyFactsTest, AnOwnerMayBeWrittenInFullOrInPart) {
  Bytes reply = ReplyBuilder(Query()).SetAnswerCount(2).Build();
  const Bytes owners[] = {ReplyBuilder::Name("www.example.org"), {3, 'w', 'w', 'w', 0xC0, 12}};
  for (const Bytes& owner : owners) {
    reply.insert(reply.end(), owner.begin(), owner.end());
    const Bytes rest = {0, 1, 0, 1, 0, 0, 0, 60, 0, 4, 192, 0, 2, 1};
    reply.insert(reply.end(), rest.begin(), rest.end());
  }
  const ReplyFacts facts = Read(reply);
  EXPECT_EQ(facts.outcome, Outcome::kAnswered);
  EXPECT_EQ(facts.addresses, (Texts{"192.0.2.1", "192.0.2.1"}));
}

TEST(ReplyFactsTest, NoRecordsAndNoSuchNameAreAnswers) {
  for (const std::uint16_t flags : Numbers{0x8180, 0x8183, 0x8400, 0x8403, 0x8080, 0x8003}) {
    const ReplyFacts facts = ReadReply([&](ReplyBuilder& reply) { reply.SetFlags(flags); });
    EXPECT_EQ(facts.outcome, Outcome::kAnswered) << flags;
  }
}

TEST(ReplyFactsTest, AReferralIsNotAnAnswer) {
  const ReplyFacts facts = ReadReply(
      [](ReplyBuilder& reply) { reply.SetFlags(0x8100).NS("ns.example.net").SetAnswerCount(0); });
  EXPECT_EQ(facts.outcome, Outcome::kNoAnswer);
  const ReplyFacts answer =
      ReadReply([](ReplyBuilder& reply) { reply.SetFlags(0x8100).A("192.0.2.1"); });
  EXPECT_EQ(answer.outcome, Outcome::kAnswered);
}

TEST(ReplyFactsTest, EveryErrorCodeExceptNoSuchNameIsAFailure) {
  for (std::uint16_t code = 1; code <= 15; ++code) {
    const auto flags = static_cast<std::uint16_t>(0x8180 | code);
    const ReplyFacts facts =
        ReadReply([&](ReplyBuilder& reply) { reply.SetFlags(flags).A("192.0.2.1"); });
    EXPECT_EQ(facts.errorCode, code);
    EXPECT_EQ(facts.outcome, code == 3 ? Outcome::kAnswered : Outcome::kErrorCode) << code;
    EXPECT_EQ(facts.addresses.empty(), code != 3) << code;
  }
}

TEST(ReplyFactsTest, AnErrorCodeNeedsNoQuestion) {
  const Bytes reply = {0, 7, 0x81, 0x82, 0, 0, 0, 0, 0, 0, 0, 0};
  const ReplyFacts facts = Read(reply);
  EXPECT_EQ(facts.outcome, Outcome::kErrorCode);
  EXPECT_EQ(facts.errorCode, 2);
}

TEST(ReplyFactsTest, AnAliasEndsTheReading) {
  for (const std::uint16_t type : Numbers{5, 39}) {
    const ReplyFacts facts = ReadReply([&](ReplyBuilder& reply) {
      reply.A("192.0.2.1").Record(type, ReplyBuilder::Name("d.test")).A("192.0.2.2");
    });
    EXPECT_EQ(facts.outcome, Outcome::kAlias) << type;
    EXPECT_EQ(facts.addresses, (Texts{"192.0.2.1"})) << type;
  }
}

TEST(ReplyFactsTest, AnAliasOfANameThatDoesNotExistIsAnAlias) {
  const ReplyFacts facts =
      ReadReply([](ReplyBuilder& reply) { reply.SetFlags(0x8183).CNAME("d.test"); });
  EXPECT_EQ(facts.outcome, Outcome::kAlias);
}

TEST(ReplyFactsTest, DataOfAnotherLengthIsNotAnAddress) {
  for (const std::uint16_t length : Numbers{0, 3, 5}) {
    const ReplyFacts facts =
        ReadReply([&](ReplyBuilder& reply) { reply.Record(1, Bytes(length, 1)).A("192.0.2.1"); });
    EXPECT_EQ(facts.addresses, (Texts{"192.0.2.1"})) << length;
  }
}

TEST(ReplyFactsTest, TheRecordsOfATruncatedReplyCount) {
  const ReplyFacts facts =
      ReadReply([](ReplyBuilder& reply) { reply.SetFlags(0x8380).A("192.0.2.1").TXT({"v=spf1"}); });
  EXPECT_EQ(facts.outcome, Outcome::kTruncated);
  EXPECT_EQ(facts.addresses, (Texts{"192.0.2.1"}));
  EXPECT_EQ(facts.texts, (Texts{"v=spf1"}));
}

TEST(ReplyFactsTest, AReplyThatFillsTheBufferIsTruncated) {
  Bytes reply = ReplyBuilder(Query()).A("192.0.2.1").Build();
  reply.resize(kRoom - 1);
  EXPECT_EQ(Read(reply).outcome, Outcome::kAnswered);
  reply.resize(kRoom);
  EXPECT_EQ(Read(reply).outcome, Outcome::kTruncated);
}

TEST(ReplyFactsTest, AReplyThatEndsBeforeItsLastRecordIsTruncated) {
  const Bytes whole = ReplyBuilder(Query()).A("192.0.2.1").TXT({"text"}).Build();
  const std::size_t start = MessageCodec::GetAnswerStart(Query());
  for (std::size_t size = start; size < whole.size(); ++size) {
    const ReplyFacts facts = Read({whole.begin(), whole.begin() + static_cast<long>(size)});
    EXPECT_EQ(facts.outcome, Outcome::kTruncated) << size;
    EXPECT_EQ(facts.addresses.size(), size < start + 16 ? 0U : 1U) << size;
    EXPECT_EQ(facts.texts, Texts{}) << size;
  }
  EXPECT_EQ(Read(whole).outcome, Outcome::kAnswered);
}

TEST(ReplyFactsTest, AStringThatIsLongerThanItsRecordEndsWithIt) {
  const ReplyFacts facts = ReadReply([](ReplyBuilder& reply) {
    reply.Record(16, {200, 'a', 'b'}).A("192.0.2.1");
  });
  EXPECT_EQ(facts.texts, (Texts{"ab"}));
  EXPECT_EQ(facts.addresses, (Texts{"192.0.2.1"}));
}

TEST(ReplyFactsTest, AReplyToAnotherQuestionIsNotAnAnswer) {
  const Bytes others[] = {
      ReplyBuilder(Query("example.net")).A("192.0.2.1").Build(),
      ReplyBuilder(Query("example.org.test")).A("192.0.2.1").Build(),
      ReplyBuilder(Query("org")).A("192.0.2.1").Build(),
      ReplyBuilder(MessageCodec::EncodeQuery("example.org", MessageCodec::kTypeTXT, 7))
          .TXT({"v=spf1"})
          .Build(),
      ReplyBuilder(Query("example.net")).SetFlags(0x8380).A("192.0.2.1").Build(),
  };
  for (const Bytes& reply : others) {
    const ReplyFacts facts = Read(reply);
    EXPECT_EQ(facts.outcome, Outcome::kNoAnswer);
    EXPECT_EQ(facts.addresses, Texts{});
    EXPECT_EQ(facts.texts, Texts{});
  }
}

TEST(ReplyFactsTest, TheCaseOfTheQuestionDoesNotMatter) {
  EXPECT_EQ(Read(ReplyBuilder(Query("eXample.ORG")).A("192.0.2.1").Build()).outcome,
            Outcome::kAnswered);
}

TEST(ReplyFactsTest, AQueryOrPartOfAHeaderIsNotAnAnswer) {
  EXPECT_EQ(Read(Query()).outcome, Outcome::kNoAnswer);
  const Bytes whole = ReplyBuilder(Query()).Build();
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_EQ(Read({whole.begin(), whole.begin() + static_cast<long>(size)}).outcome,
              Outcome::kNoAnswer)
        << size;
  }
}

TEST(ReplyFactsTest, FalseCountsLengthsAndLoopsCostNoMoreThanTheBytesPresent) {
  const Bytes hostile[] = {
      ReplyBuilder(Query()).SetAnswerCount(65535).Build(),
      ReplyBuilder(Query()).SetAnswerCount(65535).Raw(Bytes(900, 0)).Build(),
      ReplyBuilder(Query()).SetAnswerCount(65535).Raw(Bytes(900, 0xC0)).Build(),
      ReplyBuilder(Query()).SetAnswerCount(65535).Raw(Bytes(900, 0xFF)).Build(),
      ReplyBuilder(Query()).SetAnswerCount(65535).Raw(Bytes(900, 0x3F)).Build(),
      ReplyBuilder(Query()).SetAnswerCount(1).Raw({0xC0, 29, 0, 1, 0, 1}).Build(),
      ReplyBuilder(Query()).Record(16, 65535, {255}).Build(),
  };
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 1000; ++i) {
    for (const Bytes& reply : hostile) {
      const ReplyFacts facts = Read(reply);
      EXPECT_EQ(facts.outcome, Outcome::kTruncated);
      EXPECT_LE(facts.addresses.size() + facts.texts.size(), reply.size() / 11);
    }
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}
