#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "framework/core/Exceptions.h"
#include "programs/spf-policyd/NetworkList.h"
#include "tests/support/FailureText.h"

TEST(NetworkListTest, ANetworkHasTheAddressesOfItsPrefix) {
  const NetworkList list("192.0.2.128/25, 10.0.0.0/8");
  EXPECT_TRUE(list.Has("192.0.2.128"));
  EXPECT_TRUE(list.Has("192.0.2.255"));
  EXPECT_FALSE(list.Has("192.0.2.127"));
  EXPECT_FALSE(list.Has("192.0.3.128"));
  EXPECT_TRUE(list.Has("10.255.255.255"));
  EXPECT_FALSE(list.Has("11.0.0.0"));
}

TEST(NetworkListTest, WithoutAPrefixANetworkIsOneHost) {
  const NetworkList list("192.0.2.7");
  EXPECT_TRUE(list.Has("192.0.2.7"));
  EXPECT_FALSE(list.Has("192.0.2.6"));
}

TEST(NetworkListTest, APrefixOfZeroMeansEveryAddressOfItsFamily) {
  const NetworkList list("0.0.0.0/0");
  EXPECT_TRUE(list.Has("0.0.0.0"));
  EXPECT_TRUE(list.Has("255.255.255.255"));
  EXPECT_FALSE(list.Has("::"));
}

TEST(NetworkListTest, ANetworkMayHaveIPv6Addresses) {
  const NetworkList list("2001:db8:8000::/33,::1");
  EXPECT_TRUE(list.Has("2001:db8:8000::1"));
  EXPECT_TRUE(list.Has("2001:DB8:ffff:0::1"));
  EXPECT_FALSE(list.Has("2001:db8:7fff::1"));
  EXPECT_TRUE(list.Has("::1"));
  EXPECT_FALSE(list.Has("::2"));
  EXPECT_FALSE(list.Has("0.0.0.1"));
}

TEST(NetworkListTest, ATextThatIsNotAnAddressIsInNoNetwork) {
  const NetworkList list("0.0.0.0/0,::/0");
  for (const char* const text : {"", "unknown", "192.0.2", "192.0.2.7/32", "192.0.2.07", "1:2"}) {
    EXPECT_FALSE(list.Has(text)) << text;
  }
  EXPECT_FALSE(NetworkList("").Has("192.0.2.7"));
}

TEST(NetworkListTest, AnItemThatIsNotANetworkIsNamed) {
  const std::pair<const char*, std::string> rows[] = {
      {"localhost", "not a network: "},
      {"192.0.2/24", "not a network: "},
      {"192.0.2.0/33", "not a prefix length of 0 to 32: "},
      {"2001:db8::/129", "not a prefix length of 0 to 128: "},
      {"192.0.2.0/", "not a prefix length of 0 to 32: "},
      {"192.0.2.0/-1", "not a prefix length of 0 to 32: "},
      {"192.0.2.0/255.255.255.0", "not a prefix length of 0 to 32: "},
      {"192.0.2.1/24", "a bit after the prefix is set: "},
      {"192.0.2.128/24", "a bit after the prefix is set: "},
      {"0.0.0.1/0", "a bit after the prefix is set: "},
      {"2001:db8::1/64", "a bit after the prefix is set: "},
  };
  for (const auto& [item, fault] : rows) {
    const std::string text = std::string("127.0.0.0/8,") + item;
    EXPECT_EQ(FailureText<StdException>([&] { NetworkList list(text); }), fault + item);
  }
}
