#include <gtest/gtest.h>

#include <string>

#include "tool/DomainName.h"

using namespace std::string_literals;

namespace {

// Returns `count` labels of 49 characters: 50 * count - 1 characters in all.
std::string LabelsOf49(int count) {
  std::string name(49, 'a');
  for (int i = 1; i < count; ++i) {
    name += "." + std::string(49, 'b');
  }
  return name;
}

}  // namespace

TEST(DomainNameTest, ANameHasLabelsOf1To63Characters) {
  for (const std::string& name : {"a"s, "example.org"s, "_spf.example.org"s, "a b.%{d}"s,
                                  std::string(63, 'a'), std::string(63, 'a') + ".b"}) {
    EXPECT_TRUE(IsDomainName(name)) << name;
  }
  for (const std::string& name : {""s, "."s, ".a"s, "a."s, "a..b"s, std::string(64, 'a'),
                                  "a." + std::string(64, 'b') + ".c"}) {
    EXPECT_FALSE(IsDomainName(name)) << name;
  }
}

TEST(DomainNameTest, ANameHasAtMost253Characters) {
  EXPECT_TRUE(IsDomainName(LabelsOf49(5) + ".ccc"));
  EXPECT_FALSE(IsDomainName(LabelsOf49(5) + ".cccc"));
}
