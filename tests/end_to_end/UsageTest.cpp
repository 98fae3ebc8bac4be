// What the program says without arguments, and with too many.

#include <gtest/gtest.h>

#include "tests/end_to_end/NsdServer.h"
#include "tests/end_to_end/ToolRun.h"
#include "tests/support/PrivateNetwork.h"

TEST(UsageTest, NoArgumentPrintsTheUsageOnStandardErrorAndEndsWithStatusOne) {
  const ToolRun run = RunTool({});
  EXPECT_EQ(run.standardError, "Usage: spfcheck <domain> <ip> <smtpFrom> <spfRecord>\n");
  EXPECT_EQ(run.standardOutput, "");
  EXPECT_EQ(run.exitStatus, 1);
  EXPECT_EQ(run.log, "");
}

TEST(UsageTest, AnOptionIsADomainLikeAnyOther) {
  const NsdServer server;
  SetResolverFile("nameserver 127.0.0.1\n");
  const ToolRun run = RunTool({"--help"});
  EXPECT_EQ(run.standardOutput,
            "Domain : --help\nA records : \nMX records : \nNS records : \nTXT records : \n");
  EXPECT_EQ(run.standardError, "");
  EXPECT_EQ(run.exitStatus, 0);
}

TEST(UsageTest, SixArgumentsGiveTheReportOfTheEmptyDomain) {
  const NsdServer server;
  SetResolverFile("nameserver 127.0.0.1\n");
  const ToolRun run = RunTool({"example.org", "192.0.2.1", "", "v=spf1", "more", "still more"});
  EXPECT_EQ(run.standardOutput,
            "Domain : \nA records : \nMX records : \nNS records : \nTXT records : \n");
  EXPECT_EQ(run.standardError, "");
  EXPECT_EQ(run.exitStatus, 0);
  EXPECT_EQ(run.log, "");
}

TEST(UsageTest, FiveArgumentsAreTooManyAlready) {
  const NsdServer server;
  SetResolverFile("nameserver 127.0.0.1\n");
  const ToolRun run = RunTool({"example.org", "192.0.2.1", "", "v=spf1", "more"});
  EXPECT_EQ(run.standardOutput,
            "Domain : \nA records : \nMX records : \nNS records : \nTXT records : \n");
  EXPECT_EQ(run.exitStatus, 0);
}
