// Memory that is short during a look-up.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <new>
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

// The values that a look-up of addresses or texts finds while sizes of smallest to largest bytes
// are refused.
Texts LookUp(DNSSocket& dns, int (DNSSocket::*lookUp)(Texts&), std::size_t smallest,
             std::size_t largest) {
  Texts values = {"old"};
  const ScarceMemory scarce(smallest, largest);
  (dns.*lookUp)(values);
  return values;
}

}  // namespace

TEST(ScarceMemoryTest, WithoutMemoryForTheQueryNothingIsSentAndTheNextLookUpWorks) {
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

TEST(ScarceMemoryTest, WithoutMemoryForAValueThoseBeforeItStay) {
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

TEST(ScarceMemoryTest, WithoutMemoryForTheDomainNoObjectIsMade) {
  DoNotLog();
  dns_servers = "127.0.0.1";
  const std::string domain(800, 'x');
  const std::int32_t before = Socket::m_nAccessCounter;
  const ScarceMemory scarce(700, 1000);
  EXPECT_THROW(DNSSocket dns(domain), std::bad_alloc);
  EXPECT_EQ(Socket::m_nAccessCounter, before);
}
