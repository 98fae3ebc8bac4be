// A network that does not carry the queries, or carries replies of others.

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "framework/dns/DNSSocket.h"
#include "framework/dns/NameServer.h"
#include "tests/faults/KnownRun.h"
#include "tests/faults/NetworkChange.h"
#include "tests/faults/ToolProcess.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScriptedNameServer.h"

namespace {

using Texts = std::vector<std::string>;

// The check fails, and its look-up logs line.
void ExpectFailedLookUp(const std::string& line) {
  const std::string log = LogOfFailure(line);
  ToolProcess(kPublishedRecord)
      .ExpectEnd({.standardOutput = log + "SPFCheck::failed \n", .standardError = "", .log = log});
}

}  // namespace

// The system takes a datagram for an interface that is down, and drops it.
TEST(NetworkFaultTest, WithTheInterfaceDownAQueryTimesOut) {
  SetResolverFile("nameserver 127.0.0.1\n");
  const ScriptedNameServer server(ScriptedNameServer::Zone{{"TXT example.org", {kRecord}}});
  const LoopbackDown down;
  ExpectFailedLookUp(kTimedOut);
}

TEST(NetworkFaultTest, AServerWhoseRouteRejectsCannotBeSentTo) {
  SetResolverFile("nameserver 192.0.2.53\n");
  const RejectingRoute route("192.0.2.53");
  ExpectFailedLookUp(NotSent("113: No route to host"));
}

TEST(NetworkFaultTest, ALookUpThatCouldNotBeSentMayBeRepeatedWhenTheNetworkIsThere) {
  dns_servers = "192.0.2.53";
  DNSSocket dns("example.org");
  Texts values = {"old"};
  EXPECT_EQ(CaptureLog([&] { dns.GetARecords(values); }), NotSent("101: Network is unreachable"));
  EXPECT_EQ(values, Texts());

  const LoopbackAddress address("192.0.2.53");
  const ScriptedNameServer server("192.0.2.53",
                                  {{"A example.org", std::chrono::milliseconds(0), "192.0.2.1"}});
  EXPECT_EQ(CaptureLog([&] { dns.GetARecords(values); }), "");
  EXPECT_EQ(values, Texts{"192.0.2.1"});
}

TEST(NetworkFaultTest, ARefusedQueryCostsItsFiveSecondsAndTheNextTermStillPasses) {
  SetResolverFile("nameserver 127.0.0.1\n");
  const std::string log = kBegin +
                          "Debug: SPFCheck::SPFCheck spf record = v=spf1 a ip4:192.0.2.0/24\n"
                          "Debug: SPFCheck::processA - domain::example.org\n" +
                          kTimedOut + "Debug: SPFCheck::processIP4 - domain::192.0.2.0/24\n";
  ToolProcess({"example.org", "192.0.2.7", "", "v=spf1 a ip4:192.0.2.0/24"})
      .ExpectEnd({.standardOutput = log + "SPFCheck::passed \n", .standardError = "", .log = log});
}

TEST(NetworkFaultTest, AReplyFromAnotherAddressDecidesTheVerdict) {
  SetResolverFile("nameserver 127.0.0.1\n");
  const ScriptedNameServer server(
      [](const Bytes& query) { return Datagrams{ReplyBuilder(query).TXT({kRecord}).Build()}; },
      "127.0.0.2");
  ToolProcess(kPublishedRecord)
      .ExpectEnd({.standardOutput = kOutput, .standardError = "", .log = kLog});
}

TEST(NetworkFaultTest, OfTwoRepliesToOneQueryTheFirstDecidesTheVerdict) {
  SetResolverFile("nameserver 127.0.0.1\n");
  const ScriptedNameServer server([](const Bytes& query) {
    return Datagrams{ReplyBuilder(query).A("192.0.2.1").Build(),
                     ReplyBuilder(query).A("192.0.2.7").Build()};
  });
  const std::string log = kBegin +
                          "Debug: SPFCheck::SPFCheck spf record = v=spf1 a\n"
                          "Debug: SPFCheck::processA - domain::example.org\n"
                          "Debug: SPFCheck::checkDomain: ip::192.0.2.7 == ARecord::192.0.2.1\n";
  ToolProcess({"example.org", "192.0.2.7", "", "v=spf1 a"})
      .ExpectEnd({.standardOutput = log + "SPFCheck::failed \n", .standardError = "", .log = log});
}
