#include <gtest/gtest.h>

#include <string>

#include "tool/DomainName.h"

namespace {

// `count` labels of 49 characters, which makes 50 * count - 1 characters in all.
std::string LabelsOf49(int count) {
  std::string name(49, 'a');
  for (int i = 1; i < count; ++i) {
    name += "." + std::string(49, 'b');
  }
  return name;
}

}  // namespace

TEST(DomainNameTest, ANameHasLabelsOf1To63Characters) {
  for (const std::string& name :
       {std::string("a"), std::string("example.org"), std::string("_spf.example.org"),
        std::string("a b.%{d}"), std::string(63, 'a'), std::string(63, 'a') + ".b"}) {
    EXPECT_TRUE(IsDomainName(name)) << name;
  }
  for (const std::string& name :
       {std::string(""), std::string("."), std::string(".a"), std::string("a."),
        std::string("a..b"), std::string(64, 'a'), "a." + std::string(64, 'b') + ".c"}) {
    EXPECT_FALSE(IsDomainName(name)) << name;
  }
}

TEST(DomainNameTest, ANameHasAtMost253Characters) {
  EXPECT_TRUE(IsDomainName(LabelsOf49(5) + ".ccc"));
  EXPECT_FALSE(IsDomainName(LabelsOf49(5) + ".cccc"));
}
