// Records that are made to get another verdict, or to break something.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/spf_may_send/MaySendRun.h"
#include "tests/support/ScriptedNameServer.h"
#include "tests/support/Text.h"

namespace {

using Texts = std::vector<std::string>;
using Zone = ScriptedNameServer::Zone;

using HostileRecordTest = MaySendTest;

bool IsPrintable(const std::string& text) {
  return std::ranges::all_of(text, [](char c) { return c == '\n' || (c >= ' ' && c <= '~'); });
}

// Expects no verdict about example.org with `record`, published or given.
void ExpectNoVerdict(const std::string& record, const std::string& reason) {
  SCOPED_TRACE(reason);
  const ScriptedNameServer server(Zone{{"TXT example.org", {record}}});
  for (const Texts& arguments : {Texts{"-e", "192.0.2.7", "example.org"},
                                 Texts{"-e", "-r", record, "192.0.2.7", "example.org"}}) {
    MaySendRun run(arguments);
    EXPECT_EQ(run.GetStatus(), kNoVerdict);
    EXPECT_TRUE(run.GetOutput().starts_with("no verdict: " + reason + "\n  ")) << run.GetOutput();
    EXPECT_TRUE(IsPrintable(run.GetOutput()));
    EXPECT_EQ(run.GetErrors(), "");
  }
}

}  // namespace

TEST_F(HostileRecordTest, ALineFeedInARecordDoesNotStartALine) {
  ExpectNoVerdict("v=spf1 ip4:192.0.2.9\npassed:",
                  "malformed record: ip4:192.0.2.9\\012passed: of example.org");
  ExpectNoVerdict("v=spf1 x\n\rSPFCheck::passed -all",
                  "malformed record: x\\012\\015SPFCheck::passed of example.org");
}

TEST_F(HostileRecordTest, TermsThatEndSpfcheckAreMalformed) {
  for (const std::string term : {"ip4", "include", "redirect", "ip4:192.0.2.7/2x", "a/24//64x"}) {
    ExpectNoVerdict("v=spf1 " + term + " ip4:192.0.2.7 -all",
                    "malformed record: " + term + " of example.org");
  }
}

TEST_F(HostileRecordTest, RangesThatSpfcheckCannotReadMatchNobody) {
  for (const std::string term : {"ip4:x", "+ip4:x", "ip4:2001:db8::1"}) {
    ExpectNoVerdict("v=spf1 " + term + " -all", "malformed record: " + term + " of example.org");
  }
  ExpectNoVerdict("v=spf1 +ip4:192.0.2.7 -all", "+ip4:192.0.2.7 of example.org is not evaluated");
}

TEST_F(HostileRecordTest, RecordsThatIncludeEachOtherCostTwentyLookUps) {
  const ScriptedNameServer server(
      Zone{{"TXT a.test", {"v=spf1 " + Repeat("include:b.test ", 10) + "-all"}},
           {"TXT b.test", {"v=spf1 " + Repeat("include:a.test ", 10) + "-all"}}});
  MaySendRun run({"-e", "192.0.2.7", "a.test"});
  EXPECT_EQ(run.GetStatus(), kNoVerdict);
  EXPECT_TRUE(run.GetOutput().starts_with("no verdict: more look-ups than allowed\n"));
  EXPECT_EQ(server.Questions().size(), 20U);
  EXPECT_NE(run.GetOutput().find("  at least "), std::string::npos);
}

TEST_F(HostileRecordTest, EachByteOfARecordIsShownInPrintableASCII) {
  std::string record = "v=spf1 ";
  for (int byte = 1; byte < 256; ++byte) {
    record += static_cast<char>(byte);
  }
  MaySendRun run({"-e", "-r", record, "192.0.2.7", "example.org"});
  EXPECT_EQ(run.GetStatus(), kNoVerdict);
  EXPECT_TRUE(IsPrintable(run.GetOutput()));
  for (const char* text : {"\\001\\002", "\\033", "\\177\\200", "\\377"}) {
    EXPECT_NE(run.GetOutput().find(text), std::string::npos) << text;
  }
}

TEST_F(HostileRecordTest, BlanksAreNotTerms) {
  for (const std::string blanks : {"  ", "   ", "    "}) {
    MaySendRun run({"-e", "-r", "v=spf1" + blanks + "ip4:192.0.2.7" + blanks + "-all" + blanks,
                    "192.0.2.7", "example.org"});
    EXPECT_EQ(run.GetStatus(), kPassed);
    EXPECT_NE(run.GetOutput().find("\n    matches        ip4:192.0.2.7\n    not reached    -all\n"),
              std::string::npos)
        << run.GetOutput();
  }
}

TEST_F(HostileRecordTest, EightThousandTermsAreShown) {
  const std::string record = "v=spf1 " + Repeat("ip4:192.0.2.1 ", 8000) + "-all";
  MaySendRun run({"-e", "-r", record, "192.0.2.7", "example.org"});
  EXPECT_EQ(run.GetStatus(), kFailed);
  EXPECT_EQ(std::ranges::count(run.GetOutput(), '\n'), 8004);
}
