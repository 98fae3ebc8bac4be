// DomainList, and the lists of settings that CommaList splits.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "framework/core/Exceptions.h"
#include "programs/spf-policyd/DomainList.h"

namespace {

std::string FaultOf(const std::string& text) {
  try {
    const DomainList list(text);
    return "nothing";
  } catch (const StdException& e) {
    return e.what();
  }
}

}  // namespace

TEST(DomainListTest, ItHasTheDomainsThatItNames) {
  const DomainList list("example.org, Example.NET ,xn--bcher-kva.example");
  EXPECT_TRUE(list.Has("example.org"));
  EXPECT_TRUE(list.Has("EXAMPLE.org"));
  EXPECT_TRUE(list.Has("example.net"));
  EXPECT_TRUE(list.Has("xn--bcher-kva.example"));
  EXPECT_FALSE(list.Has("mail.example.org"));
  EXPECT_FALSE(list.Has("example.org.test"));
  EXPECT_FALSE(list.Has("org"));
  EXPECT_FALSE(list.Has(""));
}

TEST(DomainListTest, ALeadingDotIsTheDomainAndAllBelowIt) {
  const DomainList list(".example.org");
  EXPECT_TRUE(list.Has("example.org"));
  EXPECT_TRUE(list.Has("mail.example.org"));
  EXPECT_TRUE(list.Has("a.b.EXAMPLE.ORG"));
  EXPECT_FALSE(list.Has("anexample.org"));
  EXPECT_FALSE(list.Has("org"));
}

TEST(DomainListTest, AnEmptyTextIsAnEmptyList) {
  EXPECT_FALSE(DomainList("").Has(""));
  EXPECT_TRUE(DomainList("").GetNames().empty());
}

TEST(DomainListTest, ItTellsTheNamesWithoutTheirDots) {
  EXPECT_EQ(DomainList("Example.org,.example.net").GetNames(),
            (std::vector<std::string>{"example.org", "example.net"}));
}

TEST(DomainListTest, TheItemThatIsNotADomainIsNamed) {
  EXPECT_EQ(FaultOf("example.org,exa mple.net"), "not a domain: exa mple.net");
  EXPECT_EQ(FaultOf("."), "not a domain: .");
  EXPECT_EQ(FaultOf("..example.org"), "not a domain: ..example.org");
  EXPECT_EQ(FaultOf("example.org."), "not a domain: example.org.");
  EXPECT_EQ(FaultOf("a@example.org"), "not a domain: a@example.org");
  EXPECT_EQ(FaultOf("example.org # mine"), "not a domain: example.org # mine");
  EXPECT_EQ(FaultOf("example.org,"), "an item of the list is empty");
  EXPECT_EQ(FaultOf(","), "an item of the list is empty");
  EXPECT_EQ(FaultOf("a.test,,b.test"), "an item of the list is empty");
}
