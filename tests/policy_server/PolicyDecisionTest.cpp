// PolicyDecision: the action for a request, with the records of a real name server and, for those
// that no zone should hold, of a scripted one.

#include <gtest/gtest.h>

#include <string>

#include "examples/policy_server/PolicyDecision.h"
#include "framework/dns/NameServer.h"
#include "framework/logging/Logger.h"
#include "tests/end_to_end/NameServer.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/ScriptedNameServer.h"

namespace {

using Zone = ScriptedNameServer::Zone;

std::string ActionFor(const std::string& lines) {
  PolicyRequest request;
  for (const char byte : lines + "\n") {
    request.Take(byte);
  }
  return PolicyDecision(request).GetAction();
}

std::string Lines(const std::string& address, const std::string& sender, const std::string& helo) {
  return "request=smtpd_access_policy\nprotocol_state=RCPT\nclient_address=" + address +
         "\nsender=" + sender + "\nhelo_name=" + helo + "\n";
}

std::string Refused(const std::string& address, const std::string& domain) {
  return "550 5.7.23 SPF: " + address + " may not send mail for " + domain;
}

// Asks a name server that knows the zone.
class ScriptedDecision {
 public:
  explicit ScriptedDecision(const Zone& zone) : m_server(zone) {
    DoNotLog();
    dns_servers = "127.0.0.1";
  }

  std::size_t Questions() const { return m_server.Questions().size(); }

 private:
  ScriptedNameServer m_server;
};

}  // namespace

TEST(PolicyDecisionTest, TheRecordOfTheDomainDecides) {
  DoNotLog();
  const NameServer server(Server::kNsd);
  dns_servers = "127.0.0.2";
  const struct {
    const char* address;
    const char* sender;
    const char* helo;
    std::string action;
  } rows[] = {
      {"192.0.2.7", "a@ip4.example.org", "h.test", "DUNNO"},
      {"198.51.100.7", "a@ip4.example.org", "h.test", Refused("198.51.100.7", "ip4.example.org")},
      {"192.0.2.25", "a@example.org", "h.test", "DUNNO"},
      {"192.0.2.27", "a@example.org", "h.test", Refused("192.0.2.27", "example.org")},
      {"192.0.2.7", "a@include.example.org", "h.test", "DUNNO"},
      {"198.51.100.7", "a@redirect.example.org", "h.test",
       Refused("198.51.100.7", "redirect.example.org")},
      // Another case is the same domain, and so is a dot behind it.
      {"198.51.100.7", "a@IP4.Example.org", "h.test", Refused("198.51.100.7", "IP4.Example.org")},
      {"198.51.100.7", "a@ip4.example.org.", "h.test", Refused("198.51.100.7", "ip4.example.org")},
      // The domain stands behind the last "@", whatever is quoted in front.
      {"198.51.100.7", "\"a@x.test\"@ip4.example.org", "h.test",
       Refused("198.51.100.7", "ip4.example.org")},
      {"192.0.2.7", "\"a@s1.x.test\"@ip4.example.org", "h.test", "DUNNO"},
      // A bounce counts for the host that it says it comes from.
      {"198.51.100.7", "", "ip4.example.org", Refused("198.51.100.7", "ip4.example.org")},
      {"192.0.2.7", "", "ip4.example.org", "DUNNO"},
      {"198.51.100.7", "a@no-spf.example.org", "ip4.example.org", "DUNNO"},
      // No record.
      {"198.51.100.7", "a@no-spf.example.org", "h.test", "DUNNO"},
      {"198.51.100.7", "a@nowhere.example.org", "h.test", "DUNNO"},
      {"198.51.100.7", "", "[198.51.100.7]", "DUNNO"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ActionFor(Lines(row.address, row.sender, row.helo)), row.action)
        << row.address << " " << row.sender << " " << row.helo;
  }
}

TEST(PolicyDecisionTest, WhereThereIsNothingToDecideNothingIsLookedUp) {
  const ScriptedDecision world({{"TXT example.org", {"v=spf1 -all"}}, {"TXT h", {"v=spf1 -all"}}});
  const std::string wanted = Lines("192.0.2.7", "a@example.org", "h");
  ASSERT_EQ(ActionFor(wanted), Refused("192.0.2.7", "example.org"));
  const struct {
    const char* name;
    std::string lines;
  } rows[] = {
      {"IPv6", Lines("2001:db8::1", "a@example.org", "h")},
      {"IPv4 in IPv6", Lines("::ffff:192.0.2.7", "a@example.org", "h")},
      {"a number out of range", Lines("192.0.2.256", "a@example.org", "h")},
      {"three numbers", Lines("192.0.2", "a@example.org", "h")},
      {"one number", Lines("3221225991", "a@example.org", "h")},
      {"a blank behind it", Lines("192.0.2.7 ", "a@example.org", "h")},
      {"no address", Lines("", "a@example.org", "h")},
      {"an unknown address", Lines("unknown", "a@example.org", "h")},
      {"a sender without a domain", Lines("192.0.2.7", "postmaster", "h")},
      {"an empty domain", Lines("192.0.2.7", "a@", "h")},
      {"a dot for a domain", Lines("192.0.2.7", "a@.", "h")},
      {"a bounce without a name", Lines("192.0.2.7", "", "")},
      {"another state", wanted + "protocol_state=END-OF-MESSAGE\n"},
      {"the state in another case", wanted + "protocol_state=rcpt\n"},
      {"no state", "request=smtpd_access_policy\nclient_address=192.0.2.7\nsender=a@example.org\n"},
      {"another request", wanted + "request=other\n"},
      {"no request", "protocol_state=RCPT\nclient_address=192.0.2.7\nsender=a@example.org\n"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ActionFor(row.lines), "DUNNO") << row.name;
  }
  EXPECT_EQ(world.Questions(), 1U);  // the refusal's
}

TEST(PolicyDecisionTest, AnotherRequestIsAWarningInTheLog) {
  const std::string log = CaptureLog([] { ActionFor("request=other\n"); });
  EXPECT_EQ(log, "Warning: PolicyDecision::Decide - unknown request \"other\"\n");
}

TEST(PolicyDecisionTest, TheRecordIsLookedUpOnce) {
  const ScriptedDecision world(Zone{{"TXT example.org", {"v=spf1 ip4:192.0.2.1"}}});
  EXPECT_EQ(ActionFor(Lines("192.0.2.1", "a@example.org", "h")), "DUNNO");
  EXPECT_EQ(world.Questions(), 1U);
}

TEST(PolicyDecisionTest, ACheckThatThrowsIsAWarningAndNoObjection) {
  const ScriptedDecision world({{"TXT ip4.test", {"v=spf1 ip4"}},
                                {"TXT include.test", {"v=spf1 include"}},
                                {"TXT redirect.test", {"v=spf1 redirect"}},
                                {"TXT prefix.test", {"v=spf1 ip4:192.0.2.0/x -all"}}});
  for (const char* domain : {"ip4.test", "include.test", "redirect.test", "prefix.test"}) {
    std::string action;
    const std::string log = CaptureLog([&] {
      fwk::Logger::m_LogLevel = fwk::Warning;
      action = ActionFor(Lines("192.0.2.7", std::string("a@") + domain, "h"));
    });
    EXPECT_EQ(action, "DUNNO") << domain;
    EXPECT_EQ(log.find(std::string("Warning: PolicyDecision::Decide - check of 192.0.2.7 for ") +
                       domain + ": "),
              0U)
        << log;
  }
}

TEST(PolicyDecisionTest, ANameServerThatCannotBeUsedIsAWarningAndNoObjection) {
  dns_servers = "0.0.0.0";
  std::string action;
  const std::string log =
      CaptureLog([&] { action = ActionFor(Lines("192.0.2.7", "a@example.org", "h")); });
  EXPECT_EQ(action, "DUNNO");
  EXPECT_EQ(log,
            "Warning: PolicyDecision::Decide - check of 192.0.2.7 for example.org: "
            "UDPSocket::Connect - inet_addr() failed\n");
}

TEST(PolicyDecisionTest, ASilentNameServerIsNoObjection) {
  DoNotLog();
  const ScriptedNameServer silent([](const Bytes& /*query*/) { return Datagrams{}; });
  dns_servers = "127.0.0.1";
  EXPECT_EQ(ActionFor(Lines("192.0.2.7", "a@example.org", "h")), "DUNNO");
  EXPECT_EQ(silent.Questions().size(), 1U);
}
