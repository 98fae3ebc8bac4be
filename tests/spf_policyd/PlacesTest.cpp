#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "programs/spf-policyd/Places.h"

namespace {

using Held = std::vector<std::optional<Places::Place>>;

// Takes as many places as there are for a client and domain. Returns their number.
int TakeAll(Places& places, Held& held, const std::string& client, const std::string& domain,
            bool isExempt = false) {
  int count = 0;
  while (auto place = places.Take(client, domain, isExempt)) {
    held.push_back(std::move(place));
    ++count;
  }
  return count;
}

// Of 100 places 51 are taken by as many clients and domains.
class ScarcePlacesTest : public testing::Test {
 protected:
  ScarcePlacesTest() {
    for (int i = 0; i < 51; ++i) {
      const std::string name = std::to_string(i);
      Take("client" + name, name + ".test");
    }
  }
  ~ScarcePlacesTest() noexcept override {}  // locks throw

  void Take(const std::string& client, const std::string& domain) {
    m_held.push_back(m_places.Take(client, domain, false));
    EXPECT_TRUE(m_held.back());
  }

  Places m_places{100};
  Held m_held;
};

}  // namespace

TEST(PlacesTest, APlaceIsHeldWhileItsObjectExists) {
  Places places(100);
  {
    const auto first = places.Take("192.0.2.7", "example.org", false);
    const auto second = places.Take("192.0.2.7", "example.org", false);
    EXPECT_TRUE(first && second);
    EXPECT_EQ(places.GetTaken(), 2U);
  }
  EXPECT_EQ(places.GetTaken(), 0U);
}

TEST(PlacesTest, OneClientAndDomainMayHoldHalfOfThePlaces) {
  Places places(100);
  Held held;
  // The place that leaves fewer than half free is still taken.
  EXPECT_EQ(TakeAll(places, held, "192.0.2.7", "example.org"), 51);
}

TEST_F(ScarcePlacesTest, AClientMayHoldATenth) {
  for (int i = 0; i < 10; ++i) {
    Take("192.0.2.7", "d" + std::to_string(i) + ".test");
  }
  EXPECT_FALSE(m_places.Take("192.0.2.7", "other.test", false));
  EXPECT_TRUE(m_places.Take("192.0.2.8", "other.test", false));
}

TEST_F(ScarcePlacesTest, ADomainMayHoldATenthWithItsSubdomains) {
  for (int i = 0; i < 10; ++i) {
    const std::string name = std::to_string(i);
    Take("c" + name, name + ".example.org");
  }
  EXPECT_FALSE(m_places.Take("192.0.2.7", "example.org", false));
  EXPECT_FALSE(m_places.Take("192.0.2.7", "A.B.EXAMPLE.ORG", false));
  EXPECT_TRUE(m_places.Take("192.0.2.7", "example.net", false));
}

TEST_F(ScarcePlacesTest, APlaceThatIsGivenBackDoesNotCount) {
  Held own;
  EXPECT_EQ(TakeAll(m_places, own, "192.0.2.7", "example.org"), 10);
  own.pop_back();
  EXPECT_TRUE(m_places.Take("192.0.2.7", "example.org", false));
  own.clear();
  EXPECT_EQ(TakeAll(m_places, own, "192.0.2.7", "example.org"), 10);
}

TEST_F(ScarcePlacesTest, AnExemptCheckHasNoShareButNeedsAPlace) {
  EXPECT_EQ(TakeAll(m_places, m_held, "192.0.2.7", "example.org"), 10);
  EXPECT_EQ(TakeAll(m_places, m_held, "192.0.2.7", "example.org", true), 39);
  EXPECT_EQ(m_places.GetTaken(), 100U);
  EXPECT_FALSE(m_places.Take("192.0.2.7", "example.org", true));
}

TEST(PlacesTest, EvenOfFewPlacesOneIsForEachClient) {
  Places one(1);
  const auto place = one.Take("192.0.2.7", "example.org", false);
  EXPECT_TRUE(place);
  EXPECT_FALSE(one.Take("192.0.2.8", "example.net", false));

  Places four(4);
  Held held;
  EXPECT_EQ(TakeAll(four, held, "192.0.2.7", "example.org"), 3);
  EXPECT_TRUE(four.Take("192.0.2.8", "example.net", false));
}

TEST(PlacesTest, ADomainCountsByItsLastTwoLabelsOrThreeBelowARegistry) {
  const struct {
    const char* domain;
    const char* group;
  } rows[] = {
      {"example.org", "example.org"},
      {"Mail.Example.ORG", "example.org"},
      {"a.b.c.example.org", "example.org"},
      {"org", "org"},
      {"", ""},
      {"a.b.example.co.uk", "example.co.uk"},
      {"example.co.uk", "example.co.uk"},
      {"co.uk", "co.uk"},
      {"a.example.com.au", "example.com.au"},
      {"a.abc.de", "abc.de"},  // anybody can have three letters
      {"co.example.de", "example.de"},
      {"a.co.com", "co.com"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Places::GroupOf(row.domain), row.group);
  }
}

TEST(PlacesTest, ThreadsMayShareIt) {
  Places places(10);
  std::vector<std::jthread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&places, thread] {
      for (int i = 0; i < 5000; ++i) {
        const auto place =
            places.Take(std::to_string(thread), std::to_string(i % 7) + ".test", i % 3 == 0);
        EXPECT_LE(places.GetTaken(), 10U);
      }
    });
  }
  threads.clear();
  EXPECT_EQ(places.GetTaken(), 0U);
}
