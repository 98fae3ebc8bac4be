// The output, the errors file and the end of a run of spf-bulk.

#include <gtest/gtest.h>

#include <string>

#include "tests/spf_bulk/BulkRunTest.h"
#include "tests/spf_bulk/ToolComparison.h"
#include "tests/support/PrivateNetwork.h"

namespace {

using BulkTest = BulkRunTest;

const std::string kThree =
    Lines({"pass.test,192.0.2.1,", "pass.test,198.51.100.1,", ",192.0.2.1,user@fail.test"});
const std::string kThreeChecked =
    Lines({"pass.test,192.0.2.1,,passed", "pass.test,198.51.100.1,,failed",
           ",192.0.2.1,user@fail.test,failed"});
const std::string kThreeSaid = "3 lines: 1 passed, 2 failed, 0 error, 0 malformed";

TEST_F(BulkTest, EachLineComesBackWithItsVerdict) {
  m_directory.Write("in.csv", kThree);
  const ChildResult result = m_directory.Run({"in.csv"});
  EXPECT_EQ(result.standardOutput, kThreeChecked);
  EXPECT_EQ(result.standardError, "spf-bulk: " + kThreeSaid + "\n");
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(m_directory.Read("spf-bulk.errors"), "");
}

TEST_F(BulkTest, StandardInputIsReadWithoutAFileAndForADash) {
  m_directory.Write("in", kThree);
  EXPECT_EQ(m_directory.Run({}).standardOutput, kThreeChecked);
  EXPECT_EQ(m_directory.Run({"-"}).standardOutput, kThreeChecked);
}

TEST_F(BulkTest, TheOutputGoesToAFileIfOneIsNamed) {
  m_directory.Write("in.csv", kThree);
  EXPECT_EQ(m_directory.Run({"--output", "out.csv", "in.csv"}).standardOutput, "");
  EXPECT_EQ(m_directory.Read("out.csv"), kThreeChecked);
}

TEST_F(BulkTest, AnEmptyInputIsDone) {
  const ChildResult result = m_directory.Run({});
  EXPECT_EQ(result.standardOutput, "");
  ExpectEnd(result, 0, "0 lines: 0 passed, 0 failed, 0 error, 0 malformed");
}

TEST_F(BulkTest, AHeaderGetsAFourthColumnAndIsNotCounted) {
  m_directory.Write("in", "domain,ip,sender\n" + kThree);
  const ChildResult result = m_directory.Run({});
  EXPECT_EQ(result.standardOutput, "domain,ip,sender,verdict\n" + kThreeChecked);
  ExpectEnd(result, 0, kThreeSaid);
}

TEST_F(BulkTest, AHeaderAfterTheFirstLineIsMalformed) {
  ExpectFiles(kThree + "domain,ip,sender\n", kThreeChecked,
              "4,the address is not a dotted quad,domain,ip,sender\n");
}

TEST_F(BulkTest, LinesMayEndInCarriageReturnAndLineFeed) {
  ExpectFiles("domain,ip,sender\r\npass.test,192.0.2.1,\r\nx\r\n",
              "domain,ip,sender,verdict\npass.test,192.0.2.1,,passed\n", "3,not three fields,x\n");
}

TEST_F(BulkTest, MalformedLinesGoToTheErrorsFileWithNumberAndReason) {
  m_directory.Write("in", "\npass.test,192.0.2.1,\npass.test,192.0.2.256,\n");
  const ChildResult result = m_directory.Run({"--errors", "errors.csv"});
  EXPECT_EQ(result.standardOutput, "pass.test,192.0.2.1,,passed\n");
  EXPECT_EQ(m_directory.Read("errors.csv"),
            "1,empty line,\n3,the address is not a dotted quad,pass.test,192.0.2.256,\n");
  ExpectEnd(result, 1, "3 lines: 1 passed, 0 failed, 0 error, 2 malformed; see errors.csv");
}

TEST_F(BulkTest, EachLineOfAnyInputIsAccountedFor) {
  std::string junk;
  for (int i = 0; i < 256; ++i) {
    junk += static_cast<char>(i == '\n' ? 'n' : i);
  }
  const std::string huge(10 << 20, 'x');
  m_directory.Write("in", std::string("a\0b,192.0.2.1,\n", 15) + huge + "\n" + junk +
                              "\npass.test,192.0.2.1,\n" + huge);
  const ChildResult result = m_directory.Run({});
  EXPECT_EQ(result.standardOutput, "pass.test,192.0.2.1,,passed\n");
  const std::string errors = m_directory.Read("spf-bulk.errors");
  const std::string blank = ",a blank or a quote or a character that is not printable ASCII,";
  const std::string kept(1000, 'x');
  EXPECT_TRUE(errors.starts_with("1" + blank + "a\\000b,192.0.2.1,\n2,more than 1000 characters," +
                                 kept + "\n3" + blank + "\\000\\001\\002"))
      << errors.substr(0, 100);
  EXPECT_TRUE(errors.ends_with("\\376\\377\n5,more than 1000 characters," + kept + "\n"));
  ExpectEnd(result, 1, "5 lines: 1 passed, 0 failed, 0 error, 4 malformed; see spf-bulk.errors");
}

TEST_F(BulkTest, ACheckWithoutAVerdictIsAnErrorWithItsReasonInTheErrorsFile) {
  m_directory.Write("in", Lines({"broken.test,192.0.2.1,", "pass.test,192.0.2.1,"}));
  const ChildResult result = m_directory.Run({});
  EXPECT_EQ(result.standardOutput, "broken.test,192.0.2.1,,error\npass.test,192.0.2.1,,passed\n");
  EXPECT_EQ(m_directory.Read("spf-bulk.errors"),
            "1,malformed record: ip4 of broken.test,broken.test,192.0.2.1,\n");
  ExpectEnd(result, 1, "2 lines: 1 passed, 0 failed, 1 error, 0 malformed; see spf-bulk.errors");
}

TEST_F(BulkTest, ADomainWithoutARecordHasFailed) {
  ExpectFiles("none.test,192.0.2.1,\n", "none.test,192.0.2.1,,failed\n");
}

TEST_F(BulkTest, TheServerOnTheCommandLineIsAsked) {
  SetResolverFile("nameserver 127.0.0.9\n");
  m_directory.Write("in", "pass.test,192.0.2.1,\n");
  EXPECT_EQ(m_directory.Run({"--server", "127.0.0.1"}).standardOutput,
            "pass.test,192.0.2.1,,passed\n");
}

TEST_F(BulkTest, WithoutANameServerWithAnIPv4AddressNothingBegins) {
  SetResolverFile("nameserver ::1\n");
  m_directory.Write("in", "pass.test,192.0.2.1,\n");
  const ChildResult result = m_directory.Run({});
  EXPECT_EQ(result.standardOutput, "");
  ExpectEnd(result, 2,
            "/etc/resolv.conf names no server with an IPv4 address, but ::1: name one by --server");
}

TEST_F(BulkTest, TheErrorsFileOfAnEarlierRunIsReplaced) {
  m_directory.Write("spf-bulk.errors", "old\n");
  ExpectFiles("x\n", "", "1,not three fields,x\n");
}

TEST(EqualityTest, RandomLinesGetTheVerdictsOfThePlainTool) {
  CompareWithTool(400, 2);
}

}  // namespace
