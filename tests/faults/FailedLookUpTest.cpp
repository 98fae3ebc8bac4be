// Look-ups that fail for lack of memory or a network.

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "framework/dns/DNSSocket.h"
#include "framework/dns/NameServer.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScarceMemory.h"
#include "tests/support/ScriptedNameServer.h"

namespace {

using Texts = std::vector<std::string>;

constexpr char kNoMemory[] = "Error: DNSSocket::DoQuery - exception - std::bad_alloc\n";

// Returns what `lookUp` finds while memory of `smallest` to `largest` bytes is refused.
Texts LookUp(DNSSocket& dns, int (DNSSocket::*lookUp)(Texts&), std::size_t smallest,
             std::size_t largest) {
  Texts values = {"old"};
  const ScarceMemory scarce(smallest, largest);
  (dns.*lookUp)(values);
  return values;
}

}  // namespace

TEST(FailedLookUpTest, WithoutMemoryForTheQueryNothingIsSentAndTheNextOneWorks) {
  dns_servers = "127.0.0.1";
  const ScriptedNameServer server(ScriptedNameServer::Zone{{"A example.org", {"192.0.2.1"}}});
  DNSSocket dns("example.org");
  Texts values;
  EXPECT_EQ(CaptureLog([&] { values = LookUp(dns, &DNSSocket::GetARecords, 1024, 1024); }),
            kNoMemory);
  EXPECT_EQ(values, Texts());
  EXPECT_EQ(server.Queries().size(), 0U);

  EXPECT_EQ(CaptureLog([&] { dns.GetARecords(values); }), "");
  EXPECT_EQ(values, Texts{"192.0.2.1"});
}

TEST(FailedLookUpTest, WithoutMemoryForAValueItHasTheValuesBefore) {
  dns_servers = "127.0.0.1";
  const std::string longText(200, 'x');
  const ScriptedNameServer server([&](const Bytes& query) {
    return Datagrams{ReplyBuilder(query)
                         .A("192.0.2.1")
                         .A("192.0.2.2")
                         .TXT({longText, longText, longText, longText})
                         .A("192.0.2.3")
                         .Build()};
  });
  DNSSocket dns("example.org");
  Texts values;
  // The text alone takes so much: 805 characters, up to the zero byte in the next record.
  EXPECT_EQ(CaptureLog([&] { values = LookUp(dns, &DNSSocket::GetTXTRecords, 805, 830); }),
            kNoMemory);
  EXPECT_EQ(values, (Texts{"192.0.2.1", "192.0.2.2"}));
}

TEST(FailedLookUpTest, AfterAQueryThatCouldNotBeSentTheNextOneWorks) {
  dns_servers = "192.0.2.53";  // not reachable in a private network
  DNSSocket dns("example.org");
  Texts values = {"old"};
  EXPECT_EQ(CaptureLog([&] { dns.GetARecords(values); }),
            "Error: DNSSocket::DoQuery - StdException - UDPSocket::CheckSocketStatus - error "
            "writing from the socket [] :: failed with code 101: Network is unreachable\n");
  EXPECT_EQ(values, Texts());

  const ScriptedNameServer server(ScriptedNameServer::Zone{{"A example.org", {"192.0.2.1"}}});
  dns_servers = "127.0.0.1";
  dns.GetARecords(values);
  EXPECT_EQ(values, Texts{"192.0.2.1"});
}
