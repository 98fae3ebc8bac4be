#include <gtest/gtest.h>

#include "framework/dns/DNSSocket.h"
#include "framework/dns/NameServer.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScriptedNameServer.h"

TEST(DNSSocketTest, TwoAddressesComeInTheOrderOfTheReply) {
  dns_servers = "127.0.0.1";
  const ScriptedNameServer server([](const Bytes& query) {
    return Datagrams{ReplyBuilder(query).A("192.0.2.2").A("192.0.2.1").Build()};
  });
  DNSSocket dns("example.org");
  std::vector<std::string> addresses;
  EXPECT_EQ(dns.GetARecords(addresses), 0);
  EXPECT_EQ(addresses, (std::vector<std::string>{"192.0.2.2", "192.0.2.1"}));
}
