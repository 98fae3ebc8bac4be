#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>
#include <functional>
#include <map>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "framework/dns/NameServer.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/OwnMount.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScarceMemory.h"
#include "tests/support/ScriptedNameServer.h"
#include "tests/support/StreamPair.h"
#include "tests/tool/RecordingObserver.h"
#include "tool/SenderCheck.h"

using namespace std::string_literals;

namespace {

using std::chrono::milliseconds;
using Build = std::function<void(ReplyBuilder& reply)>;
using Clock = std::chrono::steady_clock;
using Texts = std::vector<std::string>;
using Tool = SenderCheck::ToolVerdict;
using Verdict = SenderCheck::Verdict;

// The answers, by question. A question that is missing has no records.
using Zone = std::map<std::string, Build>;

constexpr char kClient[] = "192.0.2.1";
constexpr Verdict kPassed = Verdict::kPassed;
constexpr Verdict kFailed = Verdict::kFailed;
constexpr Verdict kNone = Verdict::kNone;
constexpr Verdict kNoVerdict = Verdict::kNoVerdict;

Build Text(const std::string& text) {
  return [text](ReplyBuilder& reply) { reply.TXT({text}); };
}

Build Strings(const Texts& strings) {
  return [strings](ReplyBuilder& reply) { reply.TXT(strings); };
}

Build Addresses(const Texts& addresses) {
  return [addresses](ReplyBuilder& reply) {
    for (const std::string& address : addresses) {
      reply.A(address);
    }
  };
}

// Returns `build` with other flags.
Build WithFlags(std::uint16_t flags, const Build& build) {
  return [flags, build](ReplyBuilder& reply) {
    reply.SetFlags(flags);
    build(reply);
  };
}

void NoRecords(ReplyBuilder& /*reply*/) {}

constexpr std::uint16_t kServFail = 0x8182;
constexpr std::uint16_t kNXDomain = 0x8183;
constexpr std::uint16_t kTruncated = 0x8380;
constexpr std::uint16_t kReferral = 0x8100;

ScriptedNameServer::Script AnswerFrom(const Zone& zone) {
  return [zone](const Bytes& query) {
    ReplyBuilder reply(query);
    const auto build = zone.find(ScriptedNameServer::QuestionOf(query));
    if (build != zone.end()) {
      build->second(reply);
    }
    return Datagrams{reply.Build()};
  };
}

SenderCheck::Limits Enough() {
  return {.lookUps = 100, .deadline = Clock::now() + std::chrono::minutes(1)};
}

class SenderCheckTest : public testing::Test {
 protected:
  SenderCheckTest() {
    dns_servers = "127.0.0.1";
    DoNotLog();
  }

  static SenderCheck Check(const Zone& zone, const std::string& client = kClient,
                           const std::optional<std::string>& record = std::nullopt) {
    const ScriptedNameServer server(AnswerFrom(zone));
    return {client, "d.test", record, Enough(), nullptr};
  }
};

struct Row {
  Zone zone;
  Verdict verdict;
  std::string reason;
  const char* client = kClient;
};

void ExpectVerdicts(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    const ScriptedNameServer server(AnswerFrom(row.zone));
    const SenderCheck check(row.client, "d.test", std::nullopt, Enough(), nullptr);
    EXPECT_STREQ(SenderCheck::NameOf(check.GetVerdict()), SenderCheck::NameOf(row.verdict))
        << row.reason;
    EXPECT_EQ(check.GetReason(), row.reason);
    EXPECT_FALSE(check.HasHitLimit()) << row.reason;
  }
}

// As above, for records of d.test alone.
struct RecordRow {
  std::string record;
  Verdict verdict;
  std::string reason;
  const char* client = kClient;
};

void ExpectVerdictsOf(const std::vector<RecordRow>& rows, const Zone& zone = {}) {
  std::vector<Row> all;
  for (const RecordRow& row : rows) {
    all.push_back({zone, row.verdict, row.reason, row.client});
    all.back().zone["TXT d.test"] = Text(row.record);
  }
  ExpectVerdicts(all);
}

// As above, where the reason of each row is that a term, with its domain, is not evaluated.
struct SkippedTerm {
  std::string record;
  std::string term;
};

void ExpectNotEvaluated(const std::vector<SkippedTerm>& rows, const Zone& zone) {
  std::vector<RecordRow> all;
  for (const SkippedTerm& row : rows) {
    all.push_back({row.record, kNoVerdict, row.term + " is not evaluated"});
  }
  ExpectVerdictsOf(all, zone);
}

// As above, where each record fails.
void ExpectFailed(const Texts& records, const Zone& zone = {}) {
  std::vector<RecordRow> all;
  for (const std::string& record : records) {
    all.push_back({record, kFailed, "no term of d.test matches"});
  }
  ExpectVerdictsOf(all, zone);
}

}  // namespace

TEST_F(SenderCheckTest, AnAddressHasFourDecimalNumbers) {
  for (const char* text : {"192.0.2.1", "0.0.0.0", "255.255.255.255"}) {
    EXPECT_TRUE(SenderCheck::IsAddress(text)) << text;
  }
  for (const std::string& text : {""s, "192.0.2"s, "192.0.2.256"s, "192.0.02.1"s, "192.0.2.1 "s,
                                  " 192.0.2.1"s, "192.0.2.1\0"s, "192.0.2.1/32"s, "0x7f.0.0.1"s,
                                  "3221225985"s, "::ffff:192.0.2.1"s, "2001:db8::1"s, "d.test"s}) {
    EXPECT_FALSE(SenderCheck::IsAddress(text)) << text;
  }
}

TEST_F(SenderCheckTest, TheDomainOfASenderIsAfterItsLastAt) {
  const struct {
    std::string sender;
    std::string domain;
  } rows[] = {
      {"d.test", "d.test"},
      {"d.test.", "d.test"},
      {"joe@d.test", "d.test"},
      {"<joe@d.test>", "d.test"},
      {"<joe@d.test.>", "d.test"},
      {"joe@d.test>", "d.test"},
      {"<d.test", "d.test"},
      {"joe@e.test@d.test", "d.test"},
      {"\"joe@e.test\"@d.test", "d.test"},
      {"@d.test", "d.test"},
      {"<@e.test,@f.test:joe@d.test>", "d.test"},
      {"joe@D-1_x.TEST", "D-1_x.TEST"},
      {"localhost", "localhost"},
      {"joe@" + std::string(63, 'a') + ".test", std::string(63, 'a') + ".test"},
      {"", ""},
      {"<>", ""},
      {"<", ""},
      {"@", ""},
      {"joe@", ""},
      {"joe@.", ""},
      {"joe@d.test..", ""},
      {"joe@.d.test", ""},
      {"joe@d..test", ""},
      {"joe@d.test ", ""},
      {"joe@d.test,e.test", ""},
      {"joe@[192.0.2.1]", ""},
      {"joe@d\xC3\xA9.test", ""},
      {"joe@d.test\n", ""},
      {"joe@d\0.test"s, ""},
      {"joe@%{i}.test", ""},
      {"<<d.test>>", ""},
      {"joe@" + std::string(64, 'a') + ".test", ""},
      {std::string(130, 'a') + "@" + std::string(250, '.'), ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(SenderCheck::DomainOf(row.sender), row.domain) << row.sender;
  }
}

TEST_F(SenderCheckTest, MalformedArgumentsAreNamedAndNoQueryIsSent) {
  const ScriptedNameServer server(AnswerFrom({}));
  const struct {
    std::string address;
    std::string sender;
    std::optional<std::string> record;
    std::string reason;
  } rows[] = {
      {"2001:db8::1", "d.test", std::nullopt, "malformed address: 2001:db8::1"},
      {"", "joe@", "", "malformed address: "},
      {"192.0.2.1\n", "d.test", std::nullopt, "malformed address: 192.0.2.1\\012"},
      {std::string(90, 'x'), "d.test", "v=spf1",
       "malformed address: " + std::string(80, 'x') + "..."},
      {kClient, "joe@\xFF", std::nullopt, "malformed sender: joe@\\377"},
      {kClient, "", std::nullopt, "malformed sender: "},
      {kClient, "d.test", "", "malformed record: it is empty"},
      {kClient, "d.test", "ip4:192.0.2.1", "malformed record: it does not begin with v=spf1"},
      {kClient, "d.test", " v=spf1 -all", "malformed record: it does not begin with v=spf1"},
      {kClient, "d.test", "v=spf10 -all", "malformed record: it does not begin with v=spf1"},
      {kClient, "d.test", "v=spf1 ip4:192.0.2.9\r\n", "malformed record: ip4:192.0.2.9 of d.test"},
      {kClient, "d.test", "v=spf1 ip4:192.0.2.9\0x"s, "malformed record: ip4:192.0.2.9 of d.test"},
  };
  for (const auto& row : rows) {
    const SenderCheck check(row.address, row.sender, row.record, Enough(), nullptr);
    EXPECT_EQ(check.GetVerdict(), kNoVerdict) << row.reason;
    EXPECT_EQ(check.GetReason(), row.reason);
    EXPECT_EQ(check.GetLookUps(), 0U) << row.reason;
  }
  EXPECT_EQ(server.Queries().size(), 0U);
}

TEST_F(SenderCheckTest, ADomainAsWrittenIsLookedUpUnchanged) {
  const ScriptedNameServer server(AnswerFrom({{"TXT a@D.test", Text("v=spf1 ip4:192.0.2.1")}}));
  const SenderCheck::AsWritten domain{"a@D.test"};
  EXPECT_EQ(SenderCheck(kClient, domain, Enough()).GetVerdict(), kPassed);
  EXPECT_EQ(SenderCheck("::1", domain, Enough()).GetReason(), "malformed address: ::1");
  EXPECT_EQ(server.Queries().size(), 1U);
}

TEST_F(SenderCheckTest, TheCheckedDomainIsKept) {
  EXPECT_EQ(SenderCheck(kClient, "<joe@d.test>", "v=spf1", Enough(), nullptr).GetDomain(),
            "d.test");
  EXPECT_EQ(SenderCheck(kClient, "<joe@>", "v=spf1", Enough(), nullptr).GetDomain(), "");
}

TEST_F(SenderCheckTest, TheVerdictsHaveNames) {
  EXPECT_STREQ(SenderCheck::NameOf(kPassed), "passed");
  EXPECT_STREQ(SenderCheck::NameOf(kFailed), "failed");
  EXPECT_STREQ(SenderCheck::NameOf(kNone), "none");
  EXPECT_STREQ(SenderCheck::NameOf(kNoVerdict), "no verdict");
}

TEST_F(SenderCheckTest, ATermThatMatchesPasses) {
  ExpectVerdictsOf(
      {
          {"v=spf1 ip4:192.0.2.1 -all", kPassed, "ip4:192.0.2.1 of d.test matches"},
          {"v=spf1 mx ptr exists:x.test ip6:::/0 +mx a -all", kPassed, "a of d.test matches"},
          {"v=spf1 include:e.test -all", kPassed, "ip4:192.0.2.0/24 of e.test matches"},
          {"v=spf1 redirect=e.test", kPassed, "ip4:192.0.2.0/24 of e.test matches"},
          {"v=spf1 all", kPassed, "all of d.test matches"},
          {"v=spf1 ip4:192.0.2.1 moo", kPassed, "ip4:192.0.2.1 of d.test matches"},
          {"v=spf1 ip4:192.0.2.1 -mx", kPassed, "ip4:192.0.2.1 of d.test matches"},
          {"v=spf1 include:f.test ip4:192.0.2.1", kPassed, "ip4:192.0.2.1 of d.test matches"},
          {"v=spf1 ip4:192.0.2.1 redirect=e.test redirect=e.test", kPassed,
           "ip4:192.0.2.1 of d.test matches"},
      },
      {{"A d.test", Addresses({"192.0.2.9", kClient})},
       {"TXT e.test", Text("v=spf1 ip4:192.0.2.0/24")},
       {"TXT f.test", WithFlags(kServFail, NoRecords)}});
}

TEST_F(SenderCheckTest, ASkippedTermThatCouldNotMatchTheClientDoesNotBlockAVerdict) {
  ExpectVerdictsOf({
      {"v=spf1 -ip4:192.0.2.9 ~ip4:192.0.3.0/24 ?ip6:::/0 ip4:192.0.2.1", kPassed,
       "ip4:192.0.2.1 of d.test matches"},
      {"v=spf1 exp=e.test moo=cow ip4:192.0.2.1", kPassed, "ip4:192.0.2.1 of d.test matches"},
  });
}

TEST_F(SenderCheckTest, ASkippedTermThatCouldHaveMatchedFirstBlocksTheVerdict) {
  ExpectNotEvaluated(
      {
          {"v=spf1 -ip4:192.0.2.1 ip4:192.0.2.0/24", "-ip4:192.0.2.1 of d.test"},
          {"v=spf1 ~ip4:192.0.2.200/24 ip4:192.0.2.1", "~ip4:192.0.2.200/24 of d.test"},
          {"v=spf1 -mx ip4:192.0.2.1", "-mx of d.test"},
          {"v=spf1 ?a:e.test ip4:192.0.2.1", "?a:e.test of d.test"},
          {"v=spf1 ~include:e.test ip4:192.0.2.1", "~include:e.test of d.test"},
          {"v=spf1 -exists:%{i}.e.test ip4:192.0.2.1", "-exists:%{i}.e.test of d.test"},
          {"v=spf1 -all ip4:192.0.2.1", "-all of d.test"},
          {"v=spf1 ?all redirect=e.test", "?all of d.test"},
          {"v=spf1 include:e.test", "-ptr of e.test"},
          {"v=spf1 -mx include:e.test", "-ptr of e.test"},
          {"v=spf1 -mx include:f.test", "-mx of d.test"},
      },
      {{"TXT e.test", Text("v=spf1 -ptr ip4:192.0.2.1")},
       {"TXT f.test", Text("v=spf1 ip4:192.0.2.1")}});
}

TEST_F(SenderCheckTest, ABlockingTermInsideAnIncludeThatFailsDoesNotMatter) {
  ExpectVerdictsOf(
      {{"v=spf1 include:e.test ip4:192.0.2.1", kPassed, "ip4:192.0.2.1 of d.test matches"}},
      {{"TXT e.test", Text("v=spf1 -mx -all")}});
}

TEST_F(SenderCheckTest, ATermWithADifferentPublishedMeaningDoesNotMatch) {
  ExpectVerdictsOf(
      {
          {"v=spf1 aspf=r", kNoVerdict, "aspf=r of d.test is not what it seems to the check"},
          {"v=spf1 a:%{d}", kNoVerdict, "a:%{d} of d.test is not what it seems to the check"},
          {"v=spf1 amx", kNoVerdict, "amx of d.test is not what it seems to the check"},
          {"v=spf1 include:test", kNoVerdict,
           "include:test of d.test is not what it seems to the check"},
      },
      {{"A d.test", Addresses({kClient})},
       {"A %{d}", Addresses({kClient})},
       {"TXT test", Text("v=spf1 ip4:192.0.2.1")}});
  ExpectVerdictsOf(
      {{"v=spf1 +ip4:192.0.2.1", kNoVerdict,
        "+ip4:192.0.2.1 of d.test is not what it seems to the check", "255.255.255.255"},
       {"v=spf1 ip4:192.0.2", kNoVerdict, "ip4:192.0.2 of d.test is not what it seems to the check",
        "192.0.0.2"}});
}

TEST_F(SenderCheckTest, ARecordWithoutAMatchingTermFails) {
  ExpectFailed(
      {
          "v=spf1 -all",
          "v=spf1 ~all",
          "v=spf1 ?all",
          "v=spf1",
          "v=spf1 a ip4:192.0.2.9 a:e.test/28 include:e.test ~all",
          "v=spf1 redirect=e.test",
          "v=spf1 include:nowhere.test -all",
          "v=spf1 include:d.test -all",
          "v=spf1   ip6:2001:db8::/32  exp=e.test moo=cow  -all ",
      },
      {{"A d.test", Addresses({"192.0.2.9"})},
       {"A e.test", Addresses({"198.51.100.1", "198.51.100.2"})},
       {"TXT e.test", Text("v=spf1 ip4:198.51.100.0/24 ?all")},
       {"TXT nowhere.test", WithFlags(kNXDomain, NoRecords)}});
}

TEST_F(SenderCheckTest, ASkippedMinusTermThatCouldHaveMatchedStillFails) {
  ExpectFailed({
      "v=spf1 -mx -all",
      "v=spf1 -ip4:192.0.2.1 -a:%{i}.e.test ?all",
  });
}

TEST_F(SenderCheckTest, TermsAfterAnAllDoNotCount) {
  ExpectFailed({"v=spf1 -all mx ?ptr", "v=spf1 ~all redirect=e.test"},
               {{"TXT e.test", Text("v=spf1 mx ?ptr")}});
}

TEST_F(SenderCheckTest, AnIncludeCountsOnlyWhereItPasses) {
  ExpectVerdictsOf({{"v=spf1 include:e.test -all", kFailed, "no term of d.test matches"},
                    {"v=spf1 redirect=e.test", kNoVerdict, "?mx of e.test is not evaluated"}},
                   {{"TXT e.test", Text("v=spf1 ?mx ~ip4:192.0.2.1 -all")}});
}

TEST_F(SenderCheckTest, ATermThatCouldHaveDecidedOtherwiseLeavesNoVerdict) {
  ExpectNotEvaluated(
      {
          {"v=spf1 mx -all", "mx of d.test"},
          {"v=spf1 +mx:e.test/24 -all", "+mx:e.test/24 of d.test"},
          {"v=spf1 ptr -all", "ptr of d.test"},
          {"v=spf1 exists:%{i}.e.test -all", "exists:%{i}.e.test of d.test"},
          {"v=spf1 a:%{d} -all", "a:%{d} of d.test"},
          {"v=spf1 include:%{d}.e.test -all", "include:%{d}.e.test of d.test"},
          {"v=spf1 redirect=%{d}.e.test", "redirect=%{d}.e.test of d.test"},
          {"v=spf1 ?ip4:192.0.2.1 -all", "?ip4:192.0.2.1 of d.test"},
          {"v=spf1 ~mx -all", "~mx of d.test"},
          {"v=spf1 ?include:e.test -all", "?include:e.test of d.test"},
          {"v=spf1 +include:e.test -all", "+include:e.test of d.test"},
          {"v=spf1 +ip4:192.0.2.1 -all", "+ip4:192.0.2.1 of d.test"},
          {"v=spf1 IP4:192.0.2.1 -all", "IP4:192.0.2.1 of d.test"},
          {"v=spf1 A:e.test -all", "A:e.test of d.test"},
          {"v=spf1 all", "all of d.test"},
          {"v=spf1 +all", "+all of d.test"},
          {"v=spf1 include:e.test -all", "mx of e.test"},
          {"v=spf1 redirect=e.test", "mx of e.test"},
      },
      {{"TXT e.test", Text("v=spf1 mx -all")}});
}

TEST_F(SenderCheckTest, ATermForAnotherClientDoesNotBlockAVerdict) {
  ExpectFailed({"v=spf1 ?ip4:192.0.2.9 +ip4:192.0.2.8 IP4:192.0.2.7 -all"});
}

TEST_F(SenderCheckTest, ARangeThatMatchesOnlyWhenMaskedLeavesNoVerdict) {
  ExpectVerdictsOf(
      {
          {"v=spf1 ip4:192.0.2.10/24 -all", kNoVerdict,
           "ip4:192.0.2.10/24 of d.test matches if its host bits are masked"},
          {"v=spf1 a:e.test/24 -all", kNoVerdict,
           "a:e.test/24 of d.test matches if its host bits are masked"},
          {"v=spf1 ip4:192.0.2.10/0 -all", kNoVerdict,
           "ip4:192.0.2.10/0 of d.test matches if its host bits are masked"},
          {"v=spf1 ip4:192.0.2.10/24 -all", kFailed, "no term of d.test matches", "192.0.1.1"},
          {"v=spf1 ip4:192.0.2.10/24 -all", kPassed, "ip4:192.0.2.10/24 of d.test matches",
           "192.0.3.9"},
      },
      {{"A e.test", Addresses({"192.0.2.200"})}});
}

TEST_F(SenderCheckTest, AMalformedTermLeavesNoVerdict) {
  ExpectVerdictsOf(
      {
          {"v=spf1 moo -all", kNoVerdict, "malformed record: moo of d.test"},
          {"v=spf1 -moo:e.test -all", kNoVerdict, "malformed record: -moo:e.test of d.test"},
          {"v=spf1 moo ip4:192.0.2.1", kNoVerdict, "malformed record: moo of d.test"},
          {"v=spf1 -all moo", kNoVerdict, "malformed record: moo of d.test"},
          {"v=spf1 ip4:192.0.2.256 -all", kNoVerdict,
           "malformed record: ip4:192.0.2.256 of d.test"},
          {"v=spf1 include:e.test -all", kNoVerdict, "malformed record: moo of e.test"},
          {"v=spf1 include:f..test -all", kNoVerdict,
           "malformed record: include:f..test of d.test"},
          {"v=spf1 redirect=g.test redirect=h.test", kNoVerdict,
           "malformed record: redirect=h.test of d.test is not the first of its kind"},
          {"v=spf1 exp=g.test EXP=h.test ip4:192.0.2.1", kNoVerdict,
           "malformed record: EXP=h.test of d.test is not the first of its kind"},
      },
      {{"TXT e.test", Text("v=spf1 moo")}});
}

TEST_F(SenderCheckTest, ATermThatThrowsIsNamed) {
  const Zone zone = {{"A d.test", Addresses({"192.0.2.9"})},
                     {"TXT e.test", Text("v=spf1 redirect")}};
  const std::vector<RecordRow> rows = {
      {"v=spf1 ip4", kNoVerdict, "malformed record: ip4 of d.test"},
      {"v=spf1 include ip4:192.0.2.1", kNoVerdict, "malformed record: include of d.test"},
      {"v=spf1 ip4:192.0.2.1/x", kNoVerdict, "malformed record: ip4:192.0.2.1/x of d.test"},
      {"v=spf1 include:e.test", kNoVerdict, "malformed record: redirect of e.test"},
      {"v=spf1 a/24//64", kNoVerdict, "a/24//64 of d.test cannot be evaluated"},
  };
  ExpectVerdictsOf(rows, zone);
  for (const RecordRow& row : rows) {
    Zone all = zone;
    all["TXT d.test"] = Text(row.record);
    EXPECT_EQ(Check(all).GetToolVerdict(), Tool::kNone) << row.record;
  }
}

TEST_F(SenderCheckTest, TwoRecordsLeaveNoVerdict) {
  const auto records = [](const Texts& texts) {
    return [texts](ReplyBuilder& reply) {
      for (const std::string& text : texts) {
        reply.TXT({text});
      }
    };
  };
  ExpectVerdicts({
      {{{"TXT d.test", records({"v=spf1 -all", "v=spf1 ip4:192.0.2.1"})}},
       kNoVerdict,
       "malformed record: d.test has more than one"},
      {{{"TXT d.test", records({"v=spf1 -all", "V=SPF1 -all"})}},
       kNoVerdict,
       "malformed record: d.test has more than one"},
      {{{"TXT d.test", records({"text", "v=spf1 -all", "spf2.0/pra -all"})}},
       kFailed,
       "no term of d.test matches"},
  });
}

TEST_F(SenderCheckTest, ARecordThatCannotBeReadAsPublishedNeverGivesFailedOrNone) {
  ExpectVerdicts({
      {{{"TXT d.test", Strings({"v=spf1 ip4:192.0.2.9", std::string(27, ' ') + "-all"})}},
       kFailed,
       "no term of d.test matches"},
      {{{"TXT d.test", Text("v=spf1 ip4:192.0.2.9\t-all")}},
       kNoVerdict,
       "malformed record: ip4:192.0.2.9\\011-all of d.test"},
  });
  for (const Texts& strings : {
           Texts{"v=spf1 ip4:192.0.2.9", std::string(30, ' ') + "mx -all"},
           Texts{"v=spf1", std::string(40, ' ') + "ip4:192.0.2.9"},
           Texts{"v=spf1 a", "", " ip4:192.0.2.1"},
           Texts{"V=SPF1 ip4:192.0.2.9 -all"},
           Texts{"v=spf1 ip4:192.0.2.9\x01 -all"},
           Texts{"v=spf1 ip4:192.0.2.9 -all\n"},
           Texts{"text v=spf1 -all"},
       }) {
    ExpectVerdicts({{{{"TXT d.test", Strings(strings)}},
                     kNoVerdict,
                     "the record of d.test cannot be read as it is published"}});
  }
}

TEST_F(SenderCheckTest, ATermReadAsPublishedPassesWhateverFollowsIt) {
  const std::string rest = std::string(40, ' ') + "-all";
  ExpectVerdicts({
      {{{"TXT d.test", Strings({"v=spf1 ip4:192.0.2.1 a", rest})}},
       kPassed,
       "ip4:192.0.2.1 of d.test matches"},
      {{{"TXT d.test", Strings({"v=spf1 ip4:192.0.2.", "1" + rest + "45678"})}},
       kNoVerdict,
       "the record of d.test cannot be read as it is published",
       "192.0.2.1"},
  });
}

TEST_F(SenderCheckTest, ADomainWithoutARecordHasTheVerdictNone) {
  for (const Build& build :
       {Build(NoRecords), WithFlags(kNXDomain, NoRecords), Text("spf2.0/pra -all"), Text("text")}) {
    ExpectVerdicts({{{{"TXT d.test", build}}, kNone, "d.test has no record"}});
  }
}

TEST_F(SenderCheckTest, ALookUpWithoutAFullAnswerLeavesNoVerdict) {
  const Build anything = [](ReplyBuilder& reply) { reply.A("192.0.2.9"); };
  const struct {
    Build build;
    std::string reason;
  } rows[] = {
      {WithFlags(kServFail, NoRecords), "error code 2 for "},
      {WithFlags(0x8185, anything), "error code 5 for "},
      {WithFlags(kTruncated, anything), "truncated answer for "},
      {WithFlags(kReferral, NoRecords), "no answer for "},
      {[](ReplyBuilder& reply) { reply.A("192.0.2.9").SetAnswerCount(2); },
       "truncated answer for "},
      {[](ReplyBuilder& reply) { reply.Raw(Bytes(1400, 0)); }, "truncated answer for "},
  };
  for (const auto& row : rows) {
    ExpectVerdicts({{{{"TXT d.test", row.build}}, kNoVerdict, row.reason + "TXT d.test"},
                    {{{"TXT d.test", Text("v=spf1 a:e.test -all")}, {"A e.test", row.build}},
                     kNoVerdict,
                     row.reason + "A e.test"}});
  }
}

TEST_F(SenderCheckTest, AnAliasLeavesNoVerdict) {
  const Build alias = [](ReplyBuilder& reply) { reply.CNAME("f.test").A("192.0.2.9"); };
  ExpectVerdicts(
      {{{{"TXT d.test", alias}}, kNoVerdict, "d.test is an alias, which is not followed"},
       {{{"TXT d.test", Text("v=spf1 a:e.test -all")}, {"A e.test", alias}},
        kNoVerdict,
        "e.test is an alias, which is not followed"}});
}

TEST_F(SenderCheckTest, AMatchOfATruncatedAnswerPasses) {
  ExpectVerdicts({
      {{{"TXT d.test", WithFlags(kTruncated, Text("v=spf1 ip4:192.0.2.1"))}},
       kPassed,
       "ip4:192.0.2.1 of d.test matches"},
      {{{"TXT d.test", Text("v=spf1 a -all")},
        {"A d.test", WithFlags(kTruncated, Addresses({kClient}))}},
       kPassed,
       "a of d.test matches"},
  });
}

TEST_F(SenderCheckTest, AMatchOfAnUnreliableAnswerDoesNotPass) {
  ExpectVerdicts({
      {{{"TXT d.test", WithFlags(kServFail, Text("v=spf1 ip4:192.0.2.1"))}},
       kNoVerdict,
       "the record of d.test cannot be read as it is published"},
      {{{"TXT d.test", Text("v=spf1 a -all")},
        {"A d.test", WithFlags(kServFail, Addresses({kClient}))}},
       kNoVerdict,
       "error code 2 for A d.test"},
      {{{"TXT d.test", Text("v=spf1 a -all")},
        {"A d.test",
         [](ReplyBuilder& reply) {
           reply.Record(1, {192, 0, 2});
         }}},
       kNoVerdict,
       "the addresses of d.test cannot be read",
       "192.0.2.0"},
  });
}

TEST_F(SenderCheckTest, AReplyToAnotherQuestionNeitherPassesNorFails) {
  for (const char* record : {"v=spf1 ip4:192.0.2.1", "v=spf1 -all"}) {
    const ScriptedNameServer server([&](const Bytes& query) {
      Bytes other = query;
      other[13] = 'x';  // of "d"
      return Datagrams{ReplyBuilder(other).TXT({record}).Build()};
    });
    const SenderCheck check(kClient, "d.test", std::nullopt, Enough(), nullptr);
    EXPECT_EQ(check.GetVerdict(), kNoVerdict);
    EXPECT_EQ(check.GetMissing(), "no answer for TXT d.test");
  }
}

TEST_F(SenderCheckTest, ADuplicateOfAReplyNeverGivesAWrongVerdict) {
  const ScriptedNameServer server([](const Bytes& query) {
    const Bytes reply = ReplyBuilder(query).TXT({"v=spf1 ip4:192.0.2.1 -all"}).Build();
    return Datagrams{reply, reply, reply};
  });
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(SenderCheck(kClient, "d.test", std::nullopt, Enough(), nullptr).GetVerdict(),
              kPassed);
    const SenderCheck other("192.0.2.2", "d.test", std::nullopt, Enough(), nullptr);
    EXPECT_TRUE(other.GetVerdict() == kFailed || other.GetVerdict() == kNoVerdict);
  }
}

TEST_F(SenderCheckTest, ALateReplyIsNotTakenForTheReplyToTheNextQuestion) {
  Bytes late;
  const ScriptedNameServer server([&](const Bytes& query) {
    const Bytes reply =
        ReplyBuilder(query).TXT({"v=spf1 " + ScriptedNameServer::QuestionOf(query)}).Build();
    return late.empty() ? (late = reply, Datagrams{}) : Datagrams{late, reply};
  });
  SenderCheck::Limits limits = Enough();
  limits.deadline = Clock::now() + milliseconds(50);
  EXPECT_TRUE(SenderCheck(kClient, "d.test", std::nullopt, limits, nullptr).HasHitLimit());
  const SenderCheck next(kClient, "e.test", std::nullopt, Enough(), nullptr);
  EXPECT_EQ(next.GetVerdict(), kNoVerdict);
}

TEST_F(SenderCheckTest, TheFirstLookUpWithoutAFullAnswerIsKeptWhateverTheVerdict) {
  const Zone zone = {{"TXT d.test", Text("v=spf1 a:e.test a:f.test a:g.test ip4:192.0.2.1 -all")},
                     {"A e.test", [](ReplyBuilder& reply) { reply.CNAME("f.test"); }},
                     {"A f.test", WithFlags(kServFail, NoRecords)},
                     {"A g.test", WithFlags(kTruncated, NoRecords)}};
  EXPECT_EQ(Check(zone).GetVerdict(), kPassed);
  EXPECT_EQ(Check(zone).GetMissing(), "error code 2 for A f.test");
  EXPECT_EQ(Check(zone, "192.0.2.9").GetMissing(), "error code 2 for A f.test");
  EXPECT_EQ(Check({}).GetMissing(), "");
}

TEST_F(SenderCheckTest, ARecordThatIsNestedTooDeepLeavesNoVerdict) {
  ExpectVerdictsOf(
      {{"v=spf1 include:e.test -all", kNoVerdict, "e.test is nested too deep to be read"}},
      {{"TXT e.test", Text("v=spf1 include:d.test")}});
}

TEST_F(SenderCheckTest, ASpentBudgetOfLookUpsIsTheReason) {
  const ScriptedNameServer server(AnswerFrom({{"TXT d.test", Text("v=spf1 a a a -all")}}));
  SenderCheck::Limits limits = Enough();
  for (limits.lookUps = 0; limits.lookUps < 4; ++limits.lookUps) {
    const SenderCheck check(kClient, "d.test", std::nullopt, limits, nullptr);
    EXPECT_EQ(check.GetVerdict(), kNoVerdict);
    EXPECT_EQ(check.GetToolVerdict(), Tool::kNone);
    EXPECT_EQ(check.GetReason(), "more look-ups than allowed");
    EXPECT_TRUE(check.HasHitLimit());
    EXPECT_EQ(check.GetLookUps(), limits.lookUps);
  }
  const SenderCheck check(kClient, "d.test", std::nullopt, limits, nullptr);
  EXPECT_EQ(check.GetVerdict(), kFailed);
  EXPECT_FALSE(check.HasHitLimit());
  EXPECT_EQ(check.GetLookUps(), 4U);
}

TEST_F(SenderCheckTest, ItEndsWithin100MillisecondsOfItsDeadline) {
  const ScriptedNameServer server([](const Bytes& query) {
    const Bytes reply = ReplyBuilder(query).TXT({"v=spf1 a include:e.test"}).Build();
    return ScriptedNameServer::QuestionOf(query).starts_with("TXT") ? Datagrams{reply}
                                                                    : Datagrams{};
  });
  Clock::duration least = Clock::duration::max();
  for (int i = 0; i < 5; ++i) {  // some take longer on a busy machine
    SenderCheck::Limits limits = Enough();
    limits.deadline = Clock::now() + milliseconds(300);
    const SenderCheck check(kClient, "d.test", std::nullopt, limits, nullptr);
    least = std::min(least, Clock::now() - limits.deadline);
    EXPECT_EQ(check.GetVerdict(), kNoVerdict);
    EXPECT_EQ(check.GetReason(), "time limit reached");
    EXPECT_EQ(check.GetMissing(), "no answer for A d.test");
    EXPECT_TRUE(check.HasHitLimit());
    EXPECT_EQ(check.GetLookUps(), 2U);
  }
  EXPECT_GE(least, milliseconds(0));
  EXPECT_LT(least, milliseconds(100));
}

TEST_F(SenderCheckTest, ADeadlineThatHasPassedAsksNothing) {
  const ScriptedNameServer server(AnswerFrom({}));
  SenderCheck::Limits limits = Enough();
  limits.deadline = Clock::now();
  EXPECT_EQ(SenderCheck(kClient, "d.test", std::nullopt, limits, nullptr).GetReason(),
            "time limit reached");
  EXPECT_EQ(server.Queries().size(), 0U);
  EXPECT_EQ(SenderCheck(kClient, "d.test", "v=spf1 -all", limits, nullptr).GetVerdict(), kFailed);
}

TEST_F(SenderCheckTest, AClientThatHangsUpEndsTheCheck) {
  const ScriptedNameServer server(Silence);
  StreamPair client;
  client.CloseOther();
  SenderCheck::Limits limits = Enough();
  limits.hangUp = client.One();
  const SenderCheck check(kClient, "d.test", std::nullopt, limits, nullptr);
  EXPECT_EQ(check.GetReason(), "nobody waits for the verdict");
  EXPECT_TRUE(check.HasHitLimit());
  EXPECT_EQ(fcntl(client.One(), F_GETFD), 0) << "the descriptor is the caller's";
}

TEST_F(SenderCheckTest, WithoutADescriptorItHasNoVerdict) {
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  rlimit none = before;
  none.rlim_cur = 3;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  const SenderCheck check(kClient, "d.test", std::nullopt, Enough(), nullptr);
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(check.GetVerdict(), kNoVerdict);
  EXPECT_EQ(check.GetReason(),
            "no socket for a look-up: Socket::CreateSocket - socket :: failed with code 24: Too "
            "many open files");
  EXPECT_FALSE(check.HasHitLimit());
}

TEST_F(SenderCheckTest, ANameServerThatCannotBeUsedLeavesNoVerdict) {
  dns_servers = "0.0.0.0";
  const SenderCheck check(kClient, "d.test", std::nullopt, Enough(), nullptr);
  EXPECT_EQ(check.GetVerdict(), kNoVerdict);
  EXPECT_EQ(check.GetReason(), "UDPSocket::Connect - inet_addr() failed");
}

TEST_F(SenderCheckTest, OnlyALackOfMemoryThrows) {
  const std::string record = "v=spf1 " + std::string(700, 'x');
  const ScarceMemory memory;
  EXPECT_THROW(SenderCheck(kClient, "d.test", record, Enough(), nullptr), std::bad_alloc);
}

TEST_F(SenderCheckTest, ReasonsArePrintableOnOneLineAndShort) {
  const std::string name =
      std::string(60, 'a') + "." + std::string(60, 'b') + "." + std::string(60, 'c') + ".test";
  const Zone zone = {{"TXT d.test", Text("v=spf1 " + std::string(120, 'm') + "\n\x1B[31m" +
                                         std::string(20, 'o'))}};
  EXPECT_EQ(Check(zone).GetReason(), "the record of d.test cannot be read as it is published");
  EXPECT_EQ(Check({{"TXT d.test", Text("v=spf1 mo\xC3\xA9\n.")}}).GetReason(),
            "malformed record: mo\\303\\251\\012. of d.test");
  const std::string reason = Check({{"TXT d.test", Text("v=spf1 a:" + name)},
                                    {"A " + name, WithFlags(kServFail, NoRecords)}})
                                 .GetReason();
  EXPECT_EQ(reason, "error code 2 for A " + name.substr(0, 120) + "...");
}

TEST_F(SenderCheckTest, TheVerdictOfTheToolIsKeptBesideItsOwn) {
  const struct {
    std::string record;
    Verdict verdict;
    Tool tool;
  } rows[] = {
      {"v=spf1 ip4:192.0.2.1", kPassed, Tool::kPassed},
      {"v=spf1 -mx ip4:192.0.2.1", kNoVerdict, Tool::kPassed},
      {"v=spf1 mx -all", kNoVerdict, Tool::kFailed},
      {"v=spf1 -all", kFailed, Tool::kFailed},
      {"v=spf1 ip4", kNoVerdict, Tool::kNone},
  };
  for (const auto& row : rows) {
    const SenderCheck check(kClient, "d.test", row.record, Enough(), nullptr);
    EXPECT_EQ(check.GetVerdict(), row.verdict) << row.record;
    EXPECT_EQ(check.GetToolVerdict(), row.tool) << row.record;
  }
  EXPECT_EQ(Check({}).GetToolVerdict(), Tool::kFailed);  // none
  EXPECT_EQ(SenderCheck("no address", "d.test", "v=spf1", Enough(), nullptr).GetToolVerdict(),
            Tool::kNone);
}

TEST_F(SenderCheckTest, AnObserverIsToldEachStep) {
  RecordingObserver observer;
  const SenderCheck check(kClient, "d.test", "v=spf1 ip4:192.0.2.1", Enough(), &observer);
  EXPECT_EQ(observer.Steps(), (Texts{"check d.test", "record v=spf1 ip4:192.0.2.1", "term v=spf1",
                                     "no match", "term ip4:192.0.2.1", "match", "passed"}));
}

TEST_F(SenderCheckTest, ItWritesNoLogOfItsOwn) {
  const ScriptedNameServer server(AnswerFrom({{"TXT d.test", Text("v=spf1 ip4:192.0.2.9")}}));
  EXPECT_EQ(CaptureLog([] { SenderCheck(kClient, "d.test", std::nullopt, Enough(), nullptr); }),
            "Debug: SPFCheck::SPFCheck ip(192.0.2.1), smtpFrom(), domain(d.test)\n"
            "Debug: SPFCheck::SPFCheck spf record = v=spf1 ip4:192.0.2.9\n"
            "Debug: SPFCheck::processIP4 - domain::192.0.2.9\n");
  EXPECT_EQ(CaptureLog([] { SenderCheck("x", "d.test", std::nullopt, Enough(), nullptr); }), "");
}

TEST_F(SenderCheckTest, AStaticObjectChecksInAProgramThatIncludesOnlyItsHeader) {
  const OwnMount logs("/var/log");
  SetResolverFile("nameserver 127.0.0.1\n");
  const ScriptedNameServer server(AnswerFrom({{"TXT example.org", Text("v=spf1 ip4:192.0.2.1")}}));
  const ChildResult result = RunChild(STATIC_SENDER_CHECK_PROGRAM, {"static_sender_check"}, "/");
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(result.exitStatus, 0);
}

TEST_F(SenderCheckTest, NoOutcomeLeaksADescriptor) {
  const ScriptedNameServer server(AnswerFrom({{"TXT d.test", Text("v=spf1 a ip4")}}));
  const std::ptrdiff_t before = OpenDescriptors();
  SenderCheck(kClient, "d.test", std::nullopt, Enough(), nullptr);
  SenderCheck(kClient, "d.test", "v=spf1 a a:e.test -all", Enough(), nullptr);
  SenderCheck::Limits limits = Enough();
  limits.lookUps = 1;
  SenderCheck(kClient, "d.test", "v=spf1 a a", limits, nullptr);
  EXPECT_EQ(OpenDescriptors(), before);
}
