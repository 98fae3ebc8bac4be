#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tool/SPFTerm.h"

using namespace std::string_literals;

namespace {

using Kind = SPFTerm::Kind;
using Texts = std::vector<std::string>;

in_addr_t Address(const char* dottedQuad) {
  return inet_addr(dottedQuad);
}

struct Reading {
  std::string text;
  Kind kind;
  char qualifier;
  bool isEvaluated;
};

void ExpectMalformed(const Texts& terms) {
  for (const std::string& text : terms) {
    EXPECT_EQ(SPFTerm(text).GetKind(), Kind::kMalformed) << text;
    EXPECT_FALSE(SPFTerm(text).IsEvaluated()) << text;
  }
}

void ExpectReadings(const std::vector<Reading>& readings) {
  for (const Reading& reading : readings) {
    const SPFTerm term(reading.text);
    EXPECT_EQ(term.GetKind(), reading.kind) << reading.text;
    EXPECT_EQ(term.IsEvaluated(), reading.isEvaluated) << reading.text;
    if (reading.kind != Kind::kMalformed) {
      EXPECT_EQ(term.GetQualifier(), reading.qualifier) << reading.text;
    }
  }
}

}  // namespace

TEST(SPFTermTest, ARecordBeginsWithTheVersionInAnyCaseAloneOrBeforeABlank) {
  for (const char* text : {"v=spf1", "v=spf1 ", "v=spf1 -all", "V=SPF1 a", "v=Spf1  a"}) {
    EXPECT_TRUE(IsSPFRecord(text)) << text;
  }
  for (const char* text : {"", "v=spf", "v=spf10 a", "v=spf1\ta", "v=spf1,a", "v=spf2 a",
                           " v=spf1 a", "spf2.0/pra a", "text v=spf1 a", "\"v=spf1 a\""}) {
    EXPECT_FALSE(IsSPFRecord(text)) << text;
  }
}

TEST(SPFTermTest, ARecordIsSplitAtItsBlanks) {
  const struct {
    std::string record;
    Texts terms;
  } rows[] = {
      {"v=spf1 a -all", {"v=spf1", "a", "-all"}},
      {"  v=spf1   a ", {"v=spf1", "a"}},
      {"v=spf1\ta", {"v=spf1\ta"}},
      {"v=spf1", {"v=spf1"}},
      {"   ", {}},
      {"", {}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(SplitSPFRecord(row.record), row.terms) << row.record;
  }
}

TEST(SPFTermTest, ATermThatSPFCheckReadsAsPublishedIsEvaluated) {
  ExpectReadings({
      {"a", Kind::kA, '+', true},
      {"+a", Kind::kA, '+', true},
      {"a:d.test", Kind::kA, '+', true},
      {"+a:d.test/24", Kind::kA, '+', true},
      {"a/24", Kind::kA, '+', true},
      {"a:_spf.d.test.", Kind::kA, '+', true},
      {"ip4:192.0.2.1", Kind::kIp4, '+', true},
      {"ip4:192.0.2.0/24", Kind::kIp4, '+', true},
      {"include:d.test", Kind::kInclude, '+', true},
      {"redirect=d.test", Kind::kRedirect, '+', true},
  });
}

TEST(SPFTermTest, AnotherSpellingOfSuchATermIsNotEvaluated) {
  ExpectReadings({
      {"+ip4:192.0.2.1", Kind::kIp4, '+', false},
      {"+include:d.test", Kind::kInclude, '+', false},
      {"-a", Kind::kA, '-', false},
      {"~ip4:192.0.2.1", Kind::kIp4, '~', false},
      {"?include:d.test", Kind::kInclude, '?', false},
      {"A", Kind::kA, '+', false},
      {"IP4:192.0.2.1", Kind::kIp4, '+', false},
      {"Include:d.test", Kind::kInclude, '+', false},
      {"REDIRECT=d.test", Kind::kRedirect, '+', false},
      {"a:%{i}.d.test", Kind::kA, '+', false},
      {"include:%{d}", Kind::kInclude, '+', false},
      {"redirect=%{d}.test", Kind::kRedirect, '+', false},
  });
}

TEST(SPFTermTest, OtherTermsAreNotEvaluated) {
  ExpectReadings({
      {"v=spf1", Kind::kVersion, '+', false},
      {"V=SPF1", Kind::kVersion, '+', false},
      {"all", Kind::kAll, '+', false},
      {"-all", Kind::kAll, '-', false},
      {"~ALL", Kind::kAll, '~', false},
      {"mx", Kind::kMX, '+', false},
      {"-mx:d.test/24//64", Kind::kMX, '-', false},
      {"ptr", Kind::kPtr, '+', false},
      {"?ptr:d.test", Kind::kPtr, '?', false},
      {"exists:%{i}.d.test", Kind::kExists, '+', false},
      {"ip6:2001:db8::/32", Kind::kIp6, '+', false},
      {"-ip6:::1", Kind::kIp6, '-', false},
      {"exp=d.test", Kind::kExplanation, '+', false},
      {"moo=cow", Kind::kModifier, '+', false},
      {"moo.COW-1_2=", Kind::kModifier, '+', false},
  });
}

TEST(SPFTermTest, AnUnknownMechanismIsMalformed) {
  ExpectMalformed({"", "moo", "+", "-", "1a=b", "=x", "v:spf1", "a\tb"});
}

TEST(SPFTermTest, AModifierWithAQualifierIsMalformed) {
  ExpectMalformed({"+redirect=d.test", "-moo=cow"});
}

TEST(SPFTermTest, AMissingValueIsMalformed) {
  ExpectMalformed({"a:", "a:/24", "mx:", "ptr:", "exists", "exists:", "ip4", "ip4:", "ip4/24"});
  ExpectMalformed({"ip6:", "include", "include:", "include/24", "redirect", "redirect=", "exp="});
}

TEST(SPFTermTest, AWrongValueIsMalformed) {
  ExpectMalformed({"all:d.test", "all/8", "ptr/24", "a//", "a/33", "a/024", "a/", "a/2x"});
  ExpectMalformed({"a/24//129", "a:d.t\xC3\xA9st", "ip4:192.0.2", "ip4:192.0.2.256"});
  ExpectMalformed({"ip4:192.0.2.1/33", "ip4:192.0.2.1/", "ip4:192.0.2.01"});
  ExpectMalformed({"ip4=192.0.2.1/\x7F", "ip6:192.0.2.1", "ip6:::1/129"});
}

TEST(SPFTermTest, ATargetIsADomainWithATopLabel) {
  const std::string longest = std::string(63, 'a') + ".test";
  for (const std::string& domain :
       {"d.test"s, "d.test."s, "_a.b-c.test"s, "d.xn--p1ai"s, "d.t3st"s, "a:b.test"s, longest}) {
    EXPECT_EQ(SPFTerm("include:" + domain).GetKind(), Kind::kInclude) << domain;
    EXPECT_EQ(SPFTerm("a:" + domain).GetKind(), Kind::kA) << domain;
    EXPECT_EQ(SPFTerm("redirect=" + domain).GetKind(), Kind::kRedirect) << domain;
  }
  for (const std::string& domain :
       {"test"s, "test."s, "."s, ".d.test"s, "d..test"s, "d.test.."s, "192.0.2.1"s, "d.-test"s,
        "d.test-"s, "d.te_st"s, "a" + longest}) {
    EXPECT_EQ(SPFTerm("include:" + domain).GetKind(), Kind::kMalformed) << domain;
    EXPECT_EQ(SPFTerm("a:" + domain).GetKind(), Kind::kMalformed) << domain;
    EXPECT_EQ(SPFTerm("redirect=" + domain).GetKind(), Kind::kMalformed) << domain;
  }
}

TEST(SPFTermTest, SixKindsOfTermsCostALookUp) {
  for (const char* text :
       {"a", "-mx", "ptr", "exists:d.test", "?include:d.test", "redirect=d.test"}) {
    EXPECT_TRUE(SPFTerm(text).CostsLookUp()) << text;
  }
  for (const char* text :
       {"all", "ip4:192.0.2.1", "ip6:::1", "exp=d.test", "moo=cow", "v=spf1", "moo"}) {
    EXPECT_FALSE(SPFTerm(text).CostsLookUp()) << text;
  }
}

TEST(SPFTermTest, ARangeHasItsHostBitsMasked) {
  const struct {
    const char* term;
    const char* client;
    bool covers;
  } rows[] = {
      {"ip4:192.0.2.1", "192.0.2.1", true},         {"ip4:192.0.2.1", "192.0.2.2", false},
      {"ip4:192.0.2.10/24", "192.0.2.5", true},     {"ip4:192.0.2.10/24", "192.0.2.255", true},
      {"ip4:192.0.2.10/24", "192.0.3.0", false},    {"ip4:192.0.2.10/24", "192.0.1.255", false},
      {"ip4:128.0.0.0/1", "255.255.255.255", true}, {"ip4:128.0.0.0/1", "127.255.255.255", false},
      {"ip4:192.0.2.1/0", "203.0.113.7", true},     {"-ip4:0.0.0.0/0", "203.0.113.7", true},
      {"ip4:192.0.2.1/31", "192.0.2.0", true},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(SPFTerm(row.term).Covers(Address(row.client)), row.covers)
        << row.term << " " << row.client;
  }
}

TEST(SPFTermTest, AnAddressIsTheRangeOfTheTermsPrefix) {
  const in_addr_t client = Address("192.0.2.5");
  EXPECT_TRUE(SPFTerm("a").Covers("192.0.2.5", client));
  EXPECT_FALSE(SPFTerm("a").Covers("192.0.2.4", client));
  EXPECT_TRUE(SPFTerm("a/31").Covers("192.0.2.4", client));
  EXPECT_TRUE(SPFTerm("-a:d.test/24//64").Covers("192.0.2.200", client));
  EXPECT_TRUE(SPFTerm("a/0").Covers("203.0.113.7", client));
  EXPECT_TRUE(SPFTerm("a//64").Covers("192.0.2.5", client));
  EXPECT_FALSE(SPFTerm("a//64").Covers("192.0.2.4", client));
  EXPECT_FALSE(SPFTerm("a/0").Covers("no address", client));
}

TEST(SPFTermTest, ATermCouldMatchIfItWereEvaluatedAsPublished) {
  const struct {
    const char* term;
    bool couldMatch;  // the client 192.0.2.5, where the look-up gave 192.0.2.200
  } rows[] = {
      {"ip4:192.0.2.5", true},
      {"-ip4:192.0.2.10/24", true},
      {"ip4:192.0.2.6", false},
      {"a", false},
      {"a/24", true},
      {"-a:d.test", true},
      {"a:%{d}", true},
      {"include:d.test", false},
      {"?include:d.test", true},
      {"redirect=d.test", false},
      {"redirect=%{d}", true},
      {"mx", true},
      {"ptr", true},
      {"exists:d.test", true},
      {"all", true},
      {"ip6:::/0", false},
      {"exp=d.test", false},
      {"moo=cow", false},
      {"v=spf1", false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(SPFTerm(row.term).CouldMatch(Address("192.0.2.5"), {"192.0.2.200"}), row.couldMatch)
        << row.term;
  }
}
