// DomainList, and the lists of all settings.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "framework/core/Exceptions.h"
#include "programs/spf-policyd/DomainList.h"
#include "tests/support/FailureText.h"

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

TEST(DomainListTest, ALeadingDotMeansTheDomainAndAllBelowIt) {
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

TEST(DomainListTest, ItsNamesHaveNoLeadingDots) {
  EXPECT_EQ(DomainList("Example.org,.example.net,local").GetNames(),
            (std::vector<std::string>{"example.org", "example.net", "local"}));
}

TEST(DomainListTest, AnItemThatIsNotADomainIsNamed) {
  for (const std::string item : {"exa mple.net", ".", "..example.org", "example.org.",
                                 "a@example.org", "example.org # mine"}) {
    EXPECT_EQ(FailureText<StdException>([&] { DomainList("example.org," + item); }),
              "not a domain: " + item);
  }
}

TEST(DomainListTest, AnItemMayNotBeEmpty) {
  for (const char* const text : {"example.org,", ",", "a.test,,b.test"}) {
    EXPECT_EQ(FailureText<StdException>([&] { DomainList list(text); }),
              "an item of the list is empty")
        << text;
  }
}
