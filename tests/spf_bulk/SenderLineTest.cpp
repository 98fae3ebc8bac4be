#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "programs/spf-bulk/SenderLine.h"

namespace {

const std::string kBlank = "a blank or a quote or a character that is not printable ASCII";
const std::string kAddress = "the address is not a dotted quad";
const std::string kDomain = "the domain is not a host name";
const std::string kHost = "no host name after @";

const std::string kLabel(63, 'a');
const std::string kLongName = kLabel + "." + kLabel + "." + kLabel + "." + kLabel + ".org";

const std::pair<std::string, std::string> kFaults[] = {
    {"", "empty line"},
    {"example.org", "not three fields"},
    {"example.org,192.0.2.25", "not three fields"},
    {"example.org,192.0.2.25,,", "not three fields"},
    {"example.org,,", kAddress},
    {"example.org,192.0.2.256,", kAddress},
    {"example.org,192.0.2.025,", kAddress},
    {"example.org,192.0.2,", kAddress},
    {"example.org,192.0.2.1.1,", kAddress},
    {"example.org,0x7f.0.0.1,", kAddress},
    {"example.org,::1,", kAddress},
    {"domain,ip,sender", kAddress},
    {",192.0.2.1,", "no domain"},
    {",192.0.2.1,postmaster", "no domain"},
    {",192.0.2.1,user@", kHost},
    {"example.org,192.0.2.1,a@b@c", kHost},
    {"example.org,192.0.2.1,$(id)@$(id)", kHost},
    {"example.org,192.0.2.1,user@example.org>>", kHost},
    {"example.org,192.0.2.1,user@-x", kHost},
    {"-n,192.0.2.1,", kDomain},
    {"a;b,192.0.2.1,", kDomain},
    {"a@b,192.0.2.1,", kDomain},
    {".a,192.0.2.1,", kDomain},
    {".,192.0.2.1,", kDomain},
    {"a..b,192.0.2.1,", kDomain},
    {"example.org.,192.0.2.1,", kDomain},
    {"example.org,192.0.2.1,user@a..b", kHost},
    {"example.org,192.0.2.1,user@example.org.", kHost},
    {kLabel + "a.org,192.0.2.1,", kDomain},
    {"org." + kLabel + "a,192.0.2.1,", kDomain},
    {"a b,192.0.2.1,", kBlank},
    {"\"a\",192.0.2.1,", kBlank},
    {"example.org,192.0.2.1,\"a\"", kBlank},
    {"a\tb,192.0.2.1,", kBlank},
    {std::string("a\0b,192.0.2.1,", 14), kBlank},
    {"a\rb,192.0.2.1,", kBlank},
    {"\xc3\xa4.org,192.0.2.1,", kBlank},
    {"\x7f,192.0.2.1,", kBlank},
    {"a,192.0.2.1," + std::string(989, 'x'), "more than 1000 characters"},

    {"a,192.0.2.1," + std::string(988, 'x'), ""},
    {"example.org,192.0.2.25,", ""},
    {"example.org,0.0.0.0,", ""},
    {"a.b,192.0.2.1,", ""},
    {"_spf.ex-ample.org,255.255.255.255,x", ""},
    {"a-,192.0.2.1,", ""},
    {kLabel + ".org,192.0.2.1,", ""},
    {kLongName + ",192.0.2.1,", ""},
    {",192.0.2.1,@example.org", ""},
    {"x,192.0.2.1,<user@example.org>", ""},
    {"x,192.0.2.1,$(rm -rf)|;&'`\\!#%{}[]*?~@example.org", kBlank},
    {"x,192.0.2.1,$(rm)|;&'`\\!#%{}[]*?~<>@example.org", ""},
};

TEST(SenderLineTest, EachFaultIsNamed) {
  for (const auto& [line, fault] : kFaults) {
    EXPECT_EQ(SenderLine(line).GetFault(), fault) << line;
  }
}

TEST(SenderLineTest, TheDomainOfTheSenderComesFirst) {
  EXPECT_EQ(SenderLine("a.org,192.0.2.1,").GetDomain(), "a.org");
  EXPECT_EQ(SenderLine("a.org,192.0.2.1,postmaster").GetDomain(), "a.org");
  EXPECT_EQ(SenderLine("a.org,192.0.2.1,user@b.org").GetDomain(), "b.org");
  EXPECT_EQ(SenderLine(",192.0.2.1,<user@b.org>").GetDomain(), "b.org");
  EXPECT_EQ(SenderLine("A.org,192.0.2.1,").GetDomain(), "A.org");
}

TEST(SenderLineTest, TheAddressIsTheSecondField) {
  EXPECT_EQ(SenderLine("a.org,192.0.2.1,x").GetAddress(), "192.0.2.1");
}

TEST(SenderLineTest, OneCarriageReturnAtTheEndIsRemoved) {
  EXPECT_EQ(SenderLine::WithoutCarriageReturn("a\r"), "a");
  EXPECT_EQ(SenderLine::WithoutCarriageReturn("a\r\r"), "a\r");
  EXPECT_EQ(SenderLine::WithoutCarriageReturn("\ra"), "\ra");
  EXPECT_EQ(SenderLine::WithoutCarriageReturn(""), "");
}

}  // namespace
