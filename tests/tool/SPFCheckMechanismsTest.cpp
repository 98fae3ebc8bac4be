#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "framework/config/Config.h"
#include "framework/core/Exceptions.h"
#include "framework/dns/NameServer.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/FailureText.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/ScriptedNameServer.h"
#include "tool/SPFCheck.h"

namespace {

using Texts = std::vector<std::string>;
using Zone = ScriptedNameServer::Zone;

// The result of a check of some terms, with its log after the two lines that begin it.
struct Outcome {
  bool passed = false;
  std::string log;
  Texts questions;
};

class SPFCheckMechanismsTest : public testing::Test {
 protected:
  SPFCheckMechanismsTest() {
    dns_servers = "127.0.0.1";
    DoNotLog();
  }

  static Outcome Evaluate(const std::string& terms, const std::string& ip = "192.0.2.1",
                          const Zone& zone = {}) {
    const ScriptedNameServer server(zone);
    Outcome outcome;
    outcome.log =
        CaptureLog([&] { outcome.passed = SPFCheck(ip, "", "example.org", 0, terms).getResult(); });
    outcome.log.erase(0, outcome.log.find('\n') + 1);
    outcome.log.erase(0, outcome.log.find('\n') + 1);
    outcome.questions = server.Questions();
    return outcome;
  }

  // Returns the text of the `Exception` that the terms throw.
  template <typename Exception>
  static std::string FailureOf(const std::string& terms, const Zone& zone = {}) {
    const ScriptedNameServer server(zone);
    return FailureText<Exception>([&] { SPFCheck("192.0.2.1", "", "example.org", 0, terms); });
  }

  static std::string BeginOfCheck(const std::string& domain, const std::string& record) {
    return "Debug: SPFCheck::SPFCheck ip(192.0.2.1), smtpFrom(), domain(" + domain +
           ")\nDebug: SPFCheck::SPFCheck spf record = " + record + "\n";
  }
};

constexpr char kNothing[] = "nothing was thrown";

std::string CandidateLine(const std::string& ip, const std::string& candidate) {
  return "Debug: SPFCheck::checkDomain: ip::" + ip + " == ARecord::" + candidate + "\n";
}

bool IsSubstrText(const std::string& text) {
  return text.starts_with("basic_string::substr");
}

}  // namespace

TEST_F(SPFCheckMechanismsTest, AnIp4TermMatchesTheClientsInItsRange) {
  const struct {
    std::string value;
    std::string ip;
    bool passed;
  } rows[] = {
      {"192.0.2.1", "192.0.2.1", true},
      {"192.0.2.1", "192.0.2.2", false},
      {"192.0.2.10/24", "192.0.2.9", false},  // the range is not masked
      {"192.0.2.10/24", "192.0.2.10", true},
      {"192.0.2.10/24", "192.0.3.9", true},
      {"192.0.2.10/24", "192.0.3.10", false},
      {"192.0.2.1/0", "192.0.2.1", false},
      {"192.0.2.1/33", "192.0.2.1", false},
      {"192.0.2.1/", "192.0.2.1", false},
      {"/24", "192.0.2.1", false},
      {"0.0.0.0/0", "0.0.0.0", false},
      // Texts that are not addresses are 255.255.255.255.
      {"no-address", "255.255.255.255", true},
      {"no-address", "no-client", true},
      {":192.0.2.1", "192.0.2.1", false},
      // Numbers are compared, not texts.
      {"192.0.2.1", "192.0.513", true},
      {"0xC0.0.2.1", "192.0.2.1", true},
      {"192.0.2.010", "192.0.2.8", true},
  };
  for (const auto& row : rows) {
    const Outcome outcome = Evaluate("ip4:" + row.value, row.ip);
    EXPECT_EQ(outcome.passed, row.passed) << row.value << " " << row.ip;
    EXPECT_EQ(outcome.log, "Debug: SPFCheck::processIP4 - domain::" + row.value + "\n");
    EXPECT_EQ(outcome.questions, Texts{});
  }
}

TEST_F(SPFCheckMechanismsTest, AnIp4TermWithPlusKeepsItsColon) {
  const struct {
    std::string ip;
    bool passed;
  } rows[] = {{"192.0.2.1", false}, {"255.255.255.255", true}, {"no-client", true}};
  for (const auto& row : rows) {
    const Outcome outcome = Evaluate("+ip4:192.0.2.1", row.ip);
    EXPECT_EQ(outcome.passed, row.passed) << row.ip;
    EXPECT_EQ(outcome.log, "Debug: SPFCheck::processIP4 - domain:::192.0.2.1\n");
  }
}

TEST_F(SPFCheckMechanismsTest, TheFirstFourCharactersOfAnIp4TermAreSkippedWhateverTheyAre) {
  EXPECT_TRUE(Evaluate("ip4x192.0.2.1").passed);
  EXPECT_TRUE(Evaluate("ip4/192.0.2.1").passed);
  EXPECT_FALSE(Evaluate("ip4192.0.2.1").passed);
  EXPECT_TRUE(Evaluate("+ip4192.0.2.1").passed);
}

TEST_F(SPFCheckMechanismsTest, AnIp4TermWithoutAValueFailsSilently) {
  for (const char* term : {"ip4:", "ip4x", "+ip4"}) {
    const Outcome outcome = Evaluate(term, "255.255.255.255");
    EXPECT_FALSE(outcome.passed) << term;
    EXPECT_EQ(outcome.log, "") << term;
  }
}

TEST_F(SPFCheckMechanismsTest, TheBareTermIp4Throws) {
  EXPECT_PRED1(IsSubstrText, FailureOf<std::out_of_range>("ip4"));
  EXPECT_PRED1(IsSubstrText, FailureOf<std::out_of_range>("v=spf1 x ip4"));
}

TEST_F(SPFCheckMechanismsTest, APrefixThatIsNotANumberThrows) {
  for (const char* term : {"ip4:192.0.2.1/2x", "ip4:192.0.2.1/2.4", "ip4:192.0.2.1/-1",
                           "ip4:192.0.2.1/+1", "ip4:192.0.2.1/24/", "ip4:no-address/x"}) {
    EXPECT_EQ(FailureOf<std::invalid_argument>(term), "non-digit character") << term;
  }
}

TEST_F(SPFCheckMechanismsTest, ThePrefixOfTheNetworkZeroIsNotRead) {
  EXPECT_EQ(FailureOf<std::invalid_argument>("ip4:0.0.0.0/x"), kNothing);
  EXPECT_EQ(FailureOf<std::invalid_argument>("ip4:/x"), kNothing);
}

TEST_F(SPFCheckMechanismsTest, TheTargetOfAnATermIsBetweenColonAndSlash) {
  const struct {
    std::string term;
    std::string domain;
  } rows[] = {
      {"a", "example.org"},
      {"all", "example.org"},
      {"a/24", "example.org"},
      {"a:", "example.org"},
      {"a:/24", "example.org"},
      {"a:d.test", "d.test"},
      {"a:d.test/24", "d.test"},
      {"a:d.test/24/25", "d.test"},
      {"a:d.test:e.test", "d.test:e.test"},
      {"a/24:d.test", "d.test"},  // a slash before the colon: all after the colon
      {"a/24:d.test/25", "d.test/25"},
      {"abc:d.test", "d.test"},
      {"+a:d.test/24", "d.test"},
      {"+a/24", "example.org"},
      {"a:D.Test", "D.Test"},
  };
  for (const auto& row : rows) {
    const Outcome outcome = Evaluate(row.term);
    EXPECT_FALSE(outcome.passed);
    EXPECT_EQ(outcome.log, "Debug: SPFCheck::processA - domain::" + row.domain + "\n");
    EXPECT_EQ(outcome.questions, (Texts{"A " + row.domain})) << row.term;
  }
}

TEST_F(SPFCheckMechanismsTest, TheDomainOfTheCheckIsThatOfTheSender) {
  const ScriptedNameServer server(Zone{{"A d.test", {"192.0.2.1"}}});
  EXPECT_TRUE(SPFCheck("192.0.2.1", "<x@d.test>", "example.org", 0, "all").getResult());
  EXPECT_EQ(server.Questions(), (Texts{"A d.test"}));
}

TEST_F(SPFCheckMechanismsTest, AnATermMatchesTheAddressesOfItsTarget) {
  const Zone zone = {{"A example.org", {"192.0.2.10"}}, {"A d.test", {"198.51.100.1"}}};
  const struct {
    std::string term;
    std::string ip;
    bool passed;
    std::string candidate;
  } rows[] = {
      {"a", "192.0.2.10", true, "192.0.2.10"},
      {"a", "192.0.2.11", false, "192.0.2.10"},
      {"all", "192.0.2.10", true, "192.0.2.10"},
      {"all", "192.0.2.11", false, "192.0.2.10"},
      {"+a", "192.0.2.10", true, "192.0.2.10"},
      {"a/24", "192.0.2.5", false, "192.0.2.10/24"},
      {"a/24", "192.0.3.9", true, "192.0.2.10/24"},
      {"a/24", "192.0.3.10", false, "192.0.2.10/24"},
      {"a/", "192.0.2.10", false, "192.0.2.10/"},
      {"a/0", "192.0.2.10", false, "192.0.2.10/0"},
      {"a:d.test", "198.51.100.1", true, "198.51.100.1"},
      {"a:d.test", "192.0.2.10", false, "198.51.100.1"},
      {"a:d.test/31", "198.51.100.2", true, "198.51.100.1/31"},
      {"a", "192.0.522", true, "192.0.2.10"},  // a number, not a text
  };
  for (const auto& row : rows) {
    const Outcome outcome = Evaluate(row.term, row.ip, zone);
    EXPECT_EQ(outcome.passed, row.passed) << row.term << " " << row.ip;
    const std::string domain = row.term.starts_with("a:d") ? "d.test" : "example.org";
    EXPECT_EQ(outcome.log, "Debug: SPFCheck::processA - domain::" + domain + "\n" +
                               CandidateLine(row.ip, row.candidate));
    EXPECT_EQ(outcome.questions, (Texts{"A " + domain}));
  }
}

TEST_F(SPFCheckMechanismsTest, AddressesAreTriedInTheirOrderUpToTheFirstMatch) {
  const Zone zone = {{"A example.org", {"192.0.2.3", "192.0.2.1", "192.0.2.2"}}};
  const Outcome outcome = Evaluate("a", "192.0.2.1", zone);
  EXPECT_TRUE(outcome.passed);
  EXPECT_EQ(outcome.log, "Debug: SPFCheck::processA - domain::example.org\n" +
                             CandidateLine("192.0.2.1", "192.0.2.3") +
                             CandidateLine("192.0.2.1", "192.0.2.1"));
}

TEST_F(SPFCheckMechanismsTest, ABadPrefixOfAnATermThrowsWhenThereIsAnAddress) {
  const Zone zone = {{"A example.org", {"192.0.2.10"}}, {"A d.test", {"192.0.2.10"}}};
  for (const char* term : {"a/24.0", "a/x", "a:d.test/24/25", "a/24:d.test"}) {
    EXPECT_EQ(FailureOf<std::invalid_argument>(term, zone), "non-digit character") << term;
    EXPECT_EQ(FailureOf<std::invalid_argument>(term), kNothing) << term;
  }
}

TEST_F(SPFCheckMechanismsTest, AFailedLookUpOfAnATermDoesNotMatchAndTheNextTermIsTried) {
  const std::string target(1100, 'a');
  const Outcome outcome = Evaluate("a:" + target + " ip4:192.0.2.1");
  EXPECT_TRUE(outcome.passed);
  EXPECT_EQ(outcome.log, "Debug: SPFCheck::processA - domain::" + target +
                             "\nError: DNSSocket::DoQuery - StdException - "
                             "MessageCodec::EncodeQuery - domain name too long\n"
                             "Debug: SPFCheck::processIP4 - domain::192.0.2.1\n");
}

TEST_F(SPFCheckMechanismsTest, AServerThatCannotBeUsedMakesAnATermThrow) {
  dns_servers = "0.0.0.0";
  EXPECT_EQ(FailureOf<UDPSocketException>("a"), "UDPSocket::Connect - inet_addr() failed");
}

TEST_F(SPFCheckMechanismsTest, AnMxTermNeverMatchesLogsNothingAndAsksNothing) {
  const Zone zone = {{"A example.org", {"192.0.2.1"}},
                     {"A d.test", {"192.0.2.1"}},
                     {"15 example.org", {"example.org"}}};
  for (const char* term : {"mx", "mx:d.test", "mx/24", "mx:d.test/x", "+mx", "+mx:d.test"}) {
    const Outcome outcome = Evaluate(term, "192.0.2.1", zone);
    EXPECT_FALSE(outcome.passed) << term;
    EXPECT_EQ(outcome.log, "") << term;
    EXPECT_EQ(outcome.questions, Texts{}) << term;
  }
}

TEST_F(SPFCheckMechanismsTest, AnMxTermReadsTheNameServerAndDoesNotConnect) {
  Config::m_config.clear();
  SetResolverFile("nameserver 0.0.0.0\n");
  dns_servers.clear();
  EXPECT_FALSE(SPFCheck("192.0.2.1", "", "example.org", 0, "v=spf1 ip4:192.0.2.9").getResult());
  EXPECT_EQ(dns_servers, "");
  EXPECT_FALSE(SPFCheck("192.0.2.1", "", "example.org", 0, "v=spf1 mx").getResult());
  EXPECT_EQ(dns_servers, "0.0.0.0");
}

TEST_F(SPFCheckMechanismsTest, AnIncludeThatPassesEndsTheCheck) {
  const Outcome outcome =
      Evaluate("include:d.test a", "192.0.2.1", {{"TXT d.test", {"v=spf1 ip4:192.0.2.1"}}});
  EXPECT_TRUE(outcome.passed);
  EXPECT_EQ(outcome.log, "Debug: SPFCheck::processINCLUDE - domain::d.test\n" +
                             BeginOfCheck("d.test", "v=spf1 ip4:192.0.2.1") +
                             "Debug: SPFCheck::processIP4 - domain::192.0.2.1\n");
  EXPECT_EQ(outcome.questions, (Texts{"TXT d.test"}));
}

TEST_F(SPFCheckMechanismsTest, AfterAnIncludeOrRedirectThatFailsTheNextTermIsTried) {
  for (const std::string term : {"include:d.test", "redirect=d.test"}) {
    const Outcome outcome =
        Evaluate(term + " ip4:192.0.2.1", "192.0.2.1", {{"TXT d.test", {"v=spf1 -all"}}});
    EXPECT_TRUE(outcome.passed) << term;
    EXPECT_EQ(outcome.questions, (Texts{"TXT d.test"}));
    EXPECT_TRUE(outcome.log.ends_with(BeginOfCheck("d.test", "v=spf1 -all") +
                                      "Debug: SPFCheck::processIP4 - domain::192.0.2.1\n"));
  }
}

TEST_F(SPFCheckMechanismsTest, AnIncludeOrRedirectOfADomainWithoutARecordFails) {
  const Outcome outcome = Evaluate("redirect=d.test");
  EXPECT_FALSE(outcome.passed);
  EXPECT_EQ(outcome.log,
            "Debug: SPFCheck::processREDIRECT - domain::d.test\n" + BeginOfCheck("d.test", ""));
}

TEST_F(SPFCheckMechanismsTest, ANestedCheckEvaluatesItsOwnDomainForTheSameClientWithoutTheSender) {
  const ScriptedNameServer server(Zone{{"TXT d.test", {"v=spf1 a"}}, {"A d.test", {"192.0.2.1"}}});
  EXPECT_EQ(
      CaptureLog([] {
        EXPECT_TRUE(
            SPFCheck("192.0.2.1", "<x@e.test>", "example.org", 0, "redirect=d.test").getResult());
      }),
      "Debug: SPFCheck::SPFCheck ip(192.0.2.1), smtpFrom(<x@e.test>), domain(example.org)\n"
      "Debug: SPFCheck::SPFCheck spf record = redirect=d.test\n"
      "Debug: SPFCheck::processREDIRECT - domain::d.test\n" +
          BeginOfCheck("d.test", "v=spf1 a") + "Debug: SPFCheck::processA - domain::d.test\n" +
          CandidateLine("192.0.2.1", "192.0.2.1"));
  EXPECT_EQ(server.Questions(), (Texts{"TXT d.test", "A d.test"}));
}

TEST_F(SPFCheckMechanismsTest, AnIncludeOrRedirectOfTheOwnDomainIsAnErrorAndTheNextTermIsTried) {
  const struct {
    std::string term;
    std::string name;
  } rows[] = {{"include:example.org", "processINCLUDE"},
              {"redirect=example.org", "processREDIRECT"}};
  for (const auto& row : rows) {
    const Outcome outcome = Evaluate(row.term + " ip4:192.0.2.1");
    EXPECT_TRUE(outcome.passed);
    EXPECT_EQ(outcome.log, "Error: SPFCheck::" + row.name +
                               " - error domain::example.org == m_domain::example.org\n"
                               "Debug: SPFCheck::processIP4 - domain::192.0.2.1\n");
    EXPECT_EQ(outcome.questions, Texts{});
    EXPECT_FALSE(Evaluate(row.term).passed);
  }
}

TEST_F(SPFCheckMechanismsTest, TheOwnDomainIsTheSameTextWithTheSameCase) {
  for (const std::string target : {"Example.org", "example.orgg", "example.or", "xample.org"}) {
    const Outcome outcome = Evaluate("include:" + target);
    EXPECT_EQ(outcome.questions, (Texts{"TXT " + target}));
    EXPECT_EQ(outcome.log, "Debug: SPFCheck::processINCLUDE - domain::" + target + "\n" +
                               BeginOfCheck(target, ""));
  }
  EXPECT_EQ(Evaluate("include:example.org.").questions, (Texts{"TXT example.org"}));
}

TEST_F(SPFCheckMechanismsTest, TheOwnDomainOfACheckWithASenderIsTheSenders) {
  const ScriptedNameServer server(Zone{});
  EXPECT_EQ(CaptureLog([] {
              const SPFCheck check("192.0.2.1", "x@d.test", "example.org", 0,
                                   "include:d.test include:example.org");
            }),
            "Debug: SPFCheck::SPFCheck ip(192.0.2.1), smtpFrom(x@d.test), domain(example.org)\n"
            "Debug: SPFCheck::SPFCheck spf record = include:d.test include:example.org\n"
            "Error: SPFCheck::processINCLUDE - error domain::d.test == m_domain::d.test\n"
            "Debug: SPFCheck::processINCLUDE - domain::example.org\n" +
                BeginOfCheck("example.org", ""));
  EXPECT_EQ(server.Questions(), (Texts{"TXT example.org"}));
}

TEST_F(SPFCheckMechanismsTest, AnIncludeOrRedirectWithoutATargetFailsSilently) {
  for (const char* term :
       {"include:", "redirect=", "include=", "redirect:", "+include", "+redirect"}) {
    const Outcome outcome = Evaluate(term);
    EXPECT_FALSE(outcome.passed) << term;
    EXPECT_EQ(outcome.log, "") << term;
    EXPECT_EQ(outcome.questions, Texts{}) << term;
  }
}

TEST_F(SPFCheckMechanismsTest, TheTargetBeginsAfterAFixedNumberOfCharacters) {
  const struct {
    std::string term;
    std::string target;
  } rows[] = {
      {"include:d.test", "d.test"},       {"includeXd.test", "d.test"},
      {"redirect=d.test", "d.test"},      {"redirect:d.test", "d.test"},
      {"+include:d.test", ":d.test"},     {"+redirect=d.test", "=d.test"},
      {"include:d.test/24", "d.test/24"}, {"redirect=d.test:x", "d.test:x"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Evaluate(row.term).questions, (Texts{"TXT " + row.target})) << row.term;
  }
}

TEST_F(SPFCheckMechanismsTest, TheTargetOfAnIncludeOrRedirectWithPlusBeginsWithTheSeparator) {
  const Texts passing = {"v=spf1 ip4:192.0.2.1"};
  EXPECT_TRUE(Evaluate("+include:d.test", "192.0.2.1", {{"TXT :d.test", passing}}).passed);
  EXPECT_TRUE(Evaluate("+redirect=d.test", "192.0.2.1", {{"TXT =d.test", passing}}).passed);
}

TEST_F(SPFCheckMechanismsTest, TheBareTermsIncludeAndRedirectThrow) {
  EXPECT_PRED1(IsSubstrText, FailureOf<std::out_of_range>("include"));
  EXPECT_PRED1(IsSubstrText, FailureOf<std::out_of_range>("redirect"));
}

TEST_F(SPFCheckMechanismsTest, AnExceptionOfANestedCheckLeavesTheOuterOne) {
  EXPECT_PRED1(IsSubstrText,
               FailureOf<std::out_of_range>("include:d.test", {{"TXT d.test", {"v=spf1 ip4"}}}));
}
