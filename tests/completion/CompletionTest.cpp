// The completion of spfcheck's arguments by bash.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/Completion.h"

namespace {

using Texts = std::vector<std::string>;

class CompletionTest : public testing::Test {
 protected:
  // Expects `candidates` for the last of `words`, which are as bash cuts them, or for `text`.
  void Expect(const Texts& candidates, const Texts& words) const {
    Expect(candidates, words, words.back());
  }
  void Expect(const Texts& candidates, const Texts& words, const std::string& text) const {
    m_completion.ExpectCandidates(candidates, text, words);
  }

  // Expects `candidates` for `typed`, the beginning of a record.
  void ExpectTerms(const Texts& candidates, const std::string& typed) const {
    Expect(candidates, {"example.org", "192.0.2.7", "\"\"", "\"" + typed}, typed);
  }

  const Completion m_completion{"spfcheck"};
};

// Returns all terms, each after `before`.
Texts Terms(const std::string& before) {
  Texts terms = {"a",
                 "a:",
                 "ip4:",
                 "include:",
                 "include:_spf.",
                 "redirect=",
                 "redirect=_spf.",
                 "ip4:192.0.2.7"};
  for (std::string& term : terms) {
    term.insert(0, before);
  }
  return terms;
}

}  // namespace

TEST_F(CompletionTest, ADomainIsCompletedToAHostName) {
  Expect({"mail.example.org"}, {"mail"});
  Expect({}, {"nosuch"});
}

TEST_F(CompletionTest, AnAddressIsNotCompleted) {
  Expect({}, {"example.org", ""});
  Expect({}, {"example.org", "192"});
}

TEST_F(CompletionTest, ALocalPartGetsTheDomain) {
  Expect({"some@example.org"}, {"example.org", "192.0.2.7", "some"});
}

TEST_F(CompletionTest, AfterTheAtSignTheDomainIsCompleted) {
  Expect({"@example.org"}, {"example.org", "192.0.2.7", "some", "@"});
  Expect({"@example.org"}, {"example.org", "192.0.2.7", "some", "@", "ex"}, "@ex");
}

TEST_F(CompletionTest, ASenderInQuotesIsCompletedAsAWhole) {
  Expect({"some@example.org"}, {"\"example.org\"", "192.0.2.7", "\"some@ex"}, "some@ex");
}

TEST_F(CompletionTest, ABracketBeforeASenderIsClosed) {
  Expect({"<some@example.org>"}, {"example.org", "192.0.2.7", "'<some@ex"}, "<some@ex");
  Expect({"<some@example.org>"}, {"example.org", "192.0.2.7", "\"<some"}, "<some");
}

TEST_F(CompletionTest, ASenderOfAnotherDomainOrWithoutADomainIsNotCompleted) {
  Expect({}, {"example.org", "192.0.2.7", "some", "@", "other"}, "@other");
  Expect({}, {"\"\"", "192.0.2.7", "some", "@"});
}

TEST_F(CompletionTest, AnEmptySenderIsWrittenInQuotes) {
  Expect({"\"\""}, {"example.org", "192.0.2.7", ""});
  Expect({}, {"example.org", "192.0.2.7", "\""}, "");
}

TEST_F(CompletionTest, AfterASenderWithAnAtSignTheRecordIsNext) {
  Expect({"v=spf1 ip4:192.0.2.7"},
         {"example.org", "192.0.2.7", "some", "@", "example.org", "\"v=spf1 ip4:1"},
         "v=spf1 ip4:1");
}

TEST_F(CompletionTest, AnEmptyRecordGetsAQuoteAndTheVersion) {
  Expect(Terms("\"v=spf1 "), {"example.org", "192.0.2.7", "\"\"", ""});
}

TEST_F(CompletionTest, InQuotesTheVersionComesFirst) {
  for (const std::string typed : {"", "v", "v=sp", "v=spf1 "}) {
    ExpectTerms(Terms("v=spf1 "), typed);
  }
}

TEST_F(CompletionTest, TermsThatBeginAsTypedAreOffered) {
  ExpectTerms({"v=spf1 a:x.test include:", "v=spf1 a:x.test include:_spf."}, "v=spf1 a:x.test in");
  ExpectTerms({}, "v=spf1 x");
}

TEST_F(CompletionTest, ATermThatNeverMatchesIsNotOffered) {
  for (const std::string typed : {"mx", "ip6", "ptr", "exists", "exp", "-", "~", "?", "+"}) {
    ExpectTerms({}, "v=spf1 " + typed);
  }
}

TEST_F(CompletionTest, TheAddressIsOfferedAsARange) {
  ExpectTerms({"v=spf1 ip4:", "v=spf1 ip4:192.0.2.7"}, "v=spf1 ip");
  Expect({"v=spf1 ip4:"}, {"example.org", "\"\"", "\"\"", "\"v=spf1 ip"}, "v=spf1 ip");
}

TEST_F(CompletionTest, ARecordWithoutQuotesIsNotCompleted) {
  Expect({}, {"example.org", "192.0.2.7", "\"\"", "v", "=", "sp"});
}

TEST_F(CompletionTest, ABlankFollowsAnythingExceptATerm) {
  EXPECT_TRUE(m_completion.PutsBlank("some", {"example.org", "192.0.2.7", "some"}));
  EXPECT_FALSE(
      m_completion.PutsBlank("v=spf1 a", {"example.org", "192.0.2.7", "\"\"", "\"v=spf1 a"}));
}

TEST_F(CompletionTest, AfterTheRecordNothingIsCompleted) {
  Expect({}, {"example.org", "192.0.2.7", "\"\"", "\"v=spf1 a\"", ""});
}

TEST_F(CompletionTest, BashAloneIsEnough) {
  m_completion.ExpectFromBashAlone("@example.org", "@", {"example.org", "192.0.2.7", "some", "@"});
}

TEST_F(CompletionTest, ATabInATerminalCompletesWordsThatBashSplits) {
  EXPECT_EQ(m_completion.ArgumentsTyped("spfcheck example.org 192.0.2.7 some@\\t"),
            "<example.org><192.0.2.7><some@example.org>");
  EXPECT_EQ(m_completion.ArgumentsTyped("spfcheck example.org 192.0.2.7 \"<some@ex\\t"),
            "<example.org><192.0.2.7><<some@example.org>>");
}

TEST_F(CompletionTest, ATabInATerminalCompletesARecord) {
  EXPECT_EQ(
      m_completion.ArgumentsTyped("spfcheck example.org 192.0.2.7 \\t\\tinc\\tx.test ip4:1\\t"),
      "<example.org><192.0.2.7><><v=spf1 include:x.test ip4:192.0.2.7>");
}
