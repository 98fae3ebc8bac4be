// What a run of spf-bulk makes of its input.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/spf_bulk/BulkDirectory.h"
#include "tests/spf_bulk/BulkServer.h"
#include "tests/support/PrivateNetwork.h"

namespace {

const std::vector<std::string> kThree = {"pass.test,192.0.2.1,", "pass.test,198.51.100.1,",
                                         ",192.0.2.1,user@fail.test"};
const std::string kThreeChecked =
    Lines({"pass.test,192.0.2.1,,passed", "pass.test,198.51.100.1,,failed",
           ",192.0.2.1,user@fail.test,failed"});
const std::string kThreeSaid = "3 lines: 1 passed, 2 failed, 0 error, 0 malformed";

TEST(BulkTest, EachLineComesBackWithItsVerdict) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in.csv", Lines(kThree));
  const ChildResult result = directory.Run({"in.csv"});
  EXPECT_EQ(result.standardOutput, kThreeChecked);
  EXPECT_EQ(result.standardError, "spf-bulk: " + kThreeSaid + "\n");
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(directory.Read("spf-bulk.errors"), "");
}

TEST(BulkTest, StandardInputIsReadWithoutAFileAndForADash) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in", Lines(kThree));
  EXPECT_EQ(directory.Run({}).standardOutput, kThreeChecked);
  EXPECT_EQ(directory.Run({"-"}).standardOutput, kThreeChecked);
}

TEST(BulkTest, TheOutputGoesToAFileIfOneIsNamed) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in.csv", Lines(kThree));
  const ChildResult result = directory.Run({"--output", "out.csv", "in.csv"});
  EXPECT_EQ(result.standardOutput, "");
  EXPECT_EQ(directory.Read("out.csv"), kThreeChecked);
}

TEST(BulkTest, AnEmptyInputIsDone) {
  const BulkServer server;
  const BulkDirectory directory;
  const ChildResult result = directory.Run({});
  EXPECT_EQ(result.standardOutput, "");
  ExpectEnd(result, 0, "0 lines: 0 passed, 0 failed, 0 error, 0 malformed");
}

TEST(BulkTest, AHeaderInTheFirstLineIsThatOfTheOutput) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in", "domain,ip,sender\n" + Lines(kThree));
  const ChildResult result = directory.Run({});
  EXPECT_EQ(result.standardOutput, "domain,ip,sender,verdict\n" + kThreeChecked);
  ExpectEnd(result, 0, kThreeSaid);
}

TEST(BulkTest, AHeaderInALaterLineIsMalformed) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in", Lines(kThree) + "domain,ip,sender\n");
  EXPECT_EQ(directory.Run({}).exitStatus, 1);
  EXPECT_EQ(directory.Read("spf-bulk.errors"),
            "4,the address is not a dotted quad,domain,ip,sender\n");
}

TEST(BulkTest, LinesMayEndInCarriageReturnAndLineFeed) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in", "domain,ip,sender\r\npass.test,192.0.2.1,\r\nx\r\n");
  const ChildResult result = directory.Run({});
  EXPECT_EQ(result.standardOutput, "domain,ip,sender,verdict\npass.test,192.0.2.1,,passed\n");
  EXPECT_EQ(directory.Read("spf-bulk.errors"), "3,not three fields,x\n");
}

TEST(BulkTest, TheLastLineNeedsNoLineFeed) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in", "fail.test,192.0.2.1,\npass.test,192.0.2.1,");
  EXPECT_EQ(directory.Run({}).standardOutput,
            "fail.test,192.0.2.1,,failed\npass.test,192.0.2.1,,passed\n");
}

TEST(BulkTest, MalformedLinesGoToTheErrorsFileWithNumberAndReason) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in", "\npass.test,192.0.2.1,\npass.test,192.0.2.256,\n");
  const ChildResult result = directory.Run({"--errors", "errors.csv"});
  EXPECT_EQ(result.standardOutput, "pass.test,192.0.2.1,,passed\n");
  EXPECT_EQ(directory.Read("errors.csv"),
            "1,empty line,\n3,the address is not a dotted quad,pass.test,192.0.2.256,\n");
  ExpectEnd(result, 1, "3 lines: 1 passed, 0 failed, 0 error, 2 malformed; see errors.csv");
}

TEST(BulkTest, WhateverTheInputHoldsEachLineIsAccountedFor) {
  const BulkServer server;
  const BulkDirectory directory;
  std::string junk;
  for (int i = 0; i < 256; ++i) {
    junk += static_cast<char>(i == '\n' ? 'n' : i);
  }
  const std::string huge(10 << 20, 'x');
  directory.Write("in", std::string("a\0b,192.0.2.1,\n", 15) + huge + "\n" + junk +
                            "\npass.test,192.0.2.1,\n" + huge);
  const ChildResult result = directory.Run({});
  EXPECT_EQ(result.standardOutput, "pass.test,192.0.2.1,,passed\n");
  const std::string errors = directory.Read("spf-bulk.errors");
  const std::string blank = ",a blank or a quote or a character that is not printable ASCII,";
  const std::string kept(1000, 'x');
  EXPECT_TRUE(errors.starts_with("1" + blank + "a\\000b,192.0.2.1,\n2,more than 1000 characters," +
                                 kept + "\n3" + blank + "\\000\\001\\002"))
      << errors.substr(0, 100);
  EXPECT_TRUE(errors.ends_with("\\376\\377\n5,more than 1000 characters," + kept + "\n"));
  ExpectEnd(result, 1, "5 lines: 1 passed, 0 failed, 0 error, 4 malformed; see spf-bulk.errors");
}

TEST(BulkTest, ACheckWithoutAVerdictIsAnErrorWhoseReasonIsInTheErrorsFile) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in", Lines({"broken.test,192.0.2.1,", "pass.test,192.0.2.1,"}));
  const ChildResult result = directory.Run({});
  EXPECT_EQ(result.standardOutput, "broken.test,192.0.2.1,,error\npass.test,192.0.2.1,,passed\n");
  EXPECT_EQ(directory.Read("spf-bulk.errors"),
            "1,malformed record: ip4 of broken.test,broken.test,192.0.2.1,\n");
  ExpectEnd(result, 1, "2 lines: 1 passed, 0 failed, 1 error, 0 malformed; see spf-bulk.errors");
}

TEST(BulkTest, ADomainWithoutARecordHasFailed) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in", "none.test,192.0.2.1,\n");
  EXPECT_EQ(directory.Run({}).standardOutput, "none.test,192.0.2.1,,failed\n");
  EXPECT_EQ(directory.Read("spf-bulk.errors"), "");
}

TEST(BulkTest, TheServerOfTheCommandLineIsAsked) {
  const BulkServer server;
  const BulkDirectory directory;
  SetResolverFile("nameserver 127.0.0.9\n");
  directory.Write("in", "pass.test,192.0.2.1,\n");
  EXPECT_EQ(directory.Run({"--server", "127.0.0.1"}).standardOutput,
            "pass.test,192.0.2.1,,passed\n");
}

TEST(BulkTest, WithoutANameServerOfIPv4NothingBegins) {
  SetResolverFile("nameserver ::1\n");
  const BulkDirectory directory;
  directory.Write("in", "pass.test,192.0.2.1,\n");
  const ChildResult result = directory.Run({});
  EXPECT_EQ(result.standardOutput, "");
  ExpectEnd(result, 2,
            "/etc/resolv.conf names no server with an IPv4 address, but ::1: name one by --server");
}

TEST(BulkTest, AnErrorsFileOfAnEarlierRunIsReplaced) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("spf-bulk.errors", "old\n");
  directory.Write("in", "x\n");
  directory.Run({});
  EXPECT_EQ(directory.Read("spf-bulk.errors"), "1,not three fields,x\n");
}

TEST(BulkTest, AReasonHoldsNoComma) {
  const ScriptedNameServer server(
      ScriptedNameServer::Zone{{"TXT comma.test", {"v=spf1 a/,2"}}, {"A comma.test", {"1.2.3.4"}}});
  SetResolverFile("nameserver 127.0.0.1\n");
  const BulkDirectory directory;
  directory.Write("in", "comma.test,192.0.2.1,\n");
  EXPECT_EQ(directory.Run({}).standardOutput, "comma.test,192.0.2.1,,error\n");
  EXPECT_EQ(directory.Read("spf-bulk.errors"),
            "1,malformed record: a/;2 of comma.test,comma.test,192.0.2.1,\n");
}

}  // namespace
