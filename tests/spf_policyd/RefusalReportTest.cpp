// RefusalReport: the terms that a check does not evaluate.

#include <gtest/gtest.h>

#include <string>

#include "framework/dns/NameServer.h"
#include "programs/spf-policyd/RefusalReport.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScriptedNameServer.h"

namespace {

using Zone = ScriptedNameServer::Zone;

class RefusalReportTest : public testing::Test {
 protected:
  RefusalReportTest() {
    DoNotLog();
    dns_servers = "127.0.0.1";
  }

  static std::string Describe(const Zone& zone) {
    const ScriptedNameServer server(zone);
    return DescribeRecord("example.org");
  }
};

}  // namespace

TEST_F(RefusalReportTest, ARecordMayBeEvaluatedInFull) {
  EXPECT_EQ(
      Describe({{"TXT example.org", {"v=spf1 ip4:192.0.2.0/24 a a:x.test +a:y.test/28 -all"}}}),
      "example.org: all terms are evaluated\n");
  EXPECT_EQ(Describe({{"TXT example.org", {"v=spf1 ip6:2001:db8::/32 exp=x.test ~all"}}}),
            "example.org: all terms are evaluated\n");
}

TEST_F(RefusalReportTest, TermsThatAreNotEvaluatedAreNamed) {
  EXPECT_EQ(Describe({{"TXT example.org",
                       {"v=spf1 ip4:192.0.2.0/24 mx ptr exists:%{i}.x.test ?ip4:192.0.2.7 A "
                        "-include:x.test include:%{d}.test junk +all"}}}),
            "example.org: not evaluated: mx ptr exists:%{i}.x.test ?ip4:192.0.2.7 A "
            "-include:x.test include:%{d}.test junk +all\n");
}

TEST_F(RefusalReportTest, IncludedRecordsAreReadToo) {
  EXPECT_EQ(Describe({{"TXT example.org", {"v=spf1 include:a.test include:b.test redirect=c.test"}},
                      {"TXT a.test", {"v=spf1 include:b.test include:example.org mx -all"}},
                      {"TXT b.test", {"v=spf1 ptr"}}}),
            "example.org: all terms are evaluated\n"
            "a.test: not evaluated: mx\n"
            "b.test: not evaluated: ptr\n"
            "c.test: no record\n");
}

TEST_F(RefusalReportTest, ARecordThatCannotBeReadIsReported) {
  const ScriptedNameServer server(
      [](const Bytes& query) { return Datagrams{ReplyBuilder(query).SetFlags(0x8182).Build()}; });
  EXPECT_EQ(DescribeRecord("example.org"), "example.org: the record cannot be read\n");
}

TEST_F(RefusalReportTest, AHostileTreeOfRecordsCostsTwentyLookUps) {
  int record = 0;
  ScriptedNameServer server([&record](const Bytes& query) {
    std::string text = "v=spf1";
    for (int i = 0; i < 5; ++i) {
      text += " include:" + std::to_string(++record) + ".test";
    }
    return Datagrams{ReplyBuilder(query).TXT({text}).Build()};
  });
  const std::string report = DescribeRecord("example.org");
  EXPECT_EQ(server.Queries().size(), 20U);
  EXPECT_NE(report.find("more look-ups than allowed"), std::string::npos);
}
