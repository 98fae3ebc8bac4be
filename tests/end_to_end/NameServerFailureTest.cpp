// Name servers that cannot be used or do not answer.

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>

#include "tests/end_to_end/ToolRun.h"
#include "tests/support/PrivateNetwork.h"

TEST(NameServerFailureTest, AServerThatDoesNotAnswerCostsFiveSecondsAndADebugLine) {
  SetResolverFile("nameserver 127.0.0.1\n");
  const std::string log =
      "Debug: SPFCheck::SPFCheck ip(192.0.2.1), smtpFrom(), domain(example.org)\n"
      "Debug: DNSSocket::DoQuery - UDPSocketTimeoutException - UDPSocket::SelectReadWrite - timed "
      "out (5000) while reading from the socket on () :: failed with code 110: Connection timed "
      "out\n"
      "Debug: SPFCheck::SPFCheck spf record = \n";

  const auto start = std::chrono::steady_clock::now();
  const ToolRun run = RunTool({"example.org", "192.0.2.1"});
  const auto elapsed = std::chrono::steady_clock::now() - start;

  EXPECT_EQ(run.standardOutput, log + "SPFCheck::failed \n");
  EXPECT_EQ(run.log, log);
  EXPECT_EQ(run.standardError, "");
  EXPECT_EQ(run.exitStatus, 0);
  EXPECT_GE(elapsed, std::chrono::milliseconds(4900));
  EXPECT_LT(elapsed, std::chrono::seconds(10));
}

TEST(NameServerFailureTest, TheAddressZeroEndsTheReportBehindItsFirstHeader) {
  SetResolverFile("nameserver 0.0.0.0\n");
  const ToolRun run = RunTool({"example.org"});
  EXPECT_EQ(run.standardOutput, "Domain : example.org\nA records : \n");
  EXPECT_EQ(run.standardError,
            "terminate called after throwing an instance of 'UDPSocketException'\n"
            "  what():  UDPSocket::Connect - inet_addr() failed\n");
  EXPECT_EQ(run.signal, SIGABRT);
}

TEST(NameServerFailureTest, ANetworkThatCannotBeReachedIsAnErrorLineAndAnEmptySection) {
  SetResolverFile("nameserver 192.0.2.53\n");
  const std::string line =
      "Error: DNSSocket::DoQuery - StdException - UDPSocket::CheckSocketStatus - error writing "
      "from the socket [] :: failed with code 101: Network is unreachable\n";
  const ToolRun run = RunTool({"example.org"});
  EXPECT_EQ(run.standardOutput, "Domain : example.org\nA records : \n" + line +
                                    "MX records : \nNS records : \n" + line + "TXT records : \n" +
                                    line);
  EXPECT_EQ(run.log, line + line + line);
  EXPECT_EQ(run.exitStatus, 0);
}

TEST(NameServerFailureTest, ADomainTooLongForAQueryIsAnErrorLine) {
  SetResolverFile("nameserver 127.0.0.1\n");
  const std::string domain(2000, 'x');
  const std::string line =
      "Error: DNSSocket::DoQuery - StdException - MessageCodec::EncodeQuery - domain name too "
      "long\n";
  const ToolRun run = RunTool({domain});
  EXPECT_EQ(run.standardOutput, "Domain : " + domain + "\nA records : \n" + line +
                                    "MX records : \nNS records : \n" + line + "TXT records : \n" +
                                    line);
  EXPECT_EQ(run.exitStatus, 0);
}
