#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "framework/core/Exceptions.h"
#include "framework/core/Locks.h"
#include "framework/dns/NameServer.h"
#include "framework/logging/Logger.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/OwnMount.h"
#include "tests/support/OwnProcess.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/ScriptedNameServer.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Waiting.h"
#include "tool/SPFCheck.h"

using namespace std::string_literals;

namespace {

using Texts = std::vector<std::string>;
using Zone = ScriptedNameServer::Zone;

constexpr char kClient[] = "192.0.2.1";

// What a check did.
struct Outcome {
  bool passed = false;
  std::string log;
  Texts questions;
};

class SPFCheckTest : public testing::Test {
 protected:
  SPFCheckTest() {
    dns_servers = "127.0.0.1";
    DoNotLog();
  }

  static Outcome Check(const Zone& zone, const std::string& ip, const std::string& sender,
                       const std::string& domain, int depth, const std::string& record) {
    const ScriptedNameServer server(zone);
    Outcome outcome;
    outcome.log = CaptureLog(
        [&] { outcome.passed = SPFCheck(ip, sender, domain, depth, record).getResult(); });
    outcome.questions = server.Questions();
    return outcome;
  }

  // Checks record for the client 192.0.2.1 and the domain example.org.
  static Outcome CheckRecord(const std::string& record, const Zone& zone = {}) {
    return Check(zone, kClient, "", "example.org", 0, record);
  }

  static std::string FirstLine(const std::string& domain, const std::string& sender = "") {
    return std::string("Debug: SPFCheck::SPFCheck ip(") + kClient + "), smtpFrom(" + sender +
           "), domain(" + domain + ")\n";
  }

  static std::string RecordLine(const std::string& record) {
    return "Debug: SPFCheck::SPFCheck spf record = " + record + "\n";
  }

  // The log of CheckRecord(record), before its terms.
  static std::string Begin(const std::string& record) {
    return FirstLine("example.org") + RecordLine(record);
  }

  static std::string NotSupported(const std::string& term) {
    return "Debug: SPFCheck::process: " + term + " - not supported..\n";
  }
};

class OpenedSPFCheck : public SPFCheck {
 public:
  using SPFCheck::m_descriptor;
  using SPFCheck::m_timeout;
  using SPFCheck::SPFCheck;
};

int Count(const std::string& text, const std::string& part) {
  int count = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

constexpr char kDeep[] = "Warning: SPFCheck::SPFCheck deep max reached\n";

// d0.test, d1.test and so on.
std::string Domain(int number) {
  return std::string("d").append(std::to_string(number)).append(".test");
}

// Twenty such domains, each of which includes the next.
Zone Chain() {
  Zone zone;
  for (int i = 0; i < 20; ++i) {
    zone["TXT " + Domain(i)] = {"v=spf1 include:" + Domain(i + 1)};
  }
  return zone;
}

// The text look-ups for d0.test, d1.test and so on.
Texts ChainQuestions(int count) {
  Texts questions;
  for (int i = 0; i < count; ++i) {
    questions.push_back("TXT " + Domain(i));
  }
  return questions;
}

}  // namespace

// The class.

TEST_F(SPFCheckTest, ItIsASocketThatIsCountedAndNeverOpened) {
  EXPECT_TRUE((std::is_base_of_v<Socket, SPFCheck>));
  EXPECT_TRUE(std::has_virtual_destructor_v<SPFCheck>);
  const int before = Socket::m_nAccessCounter;
  {
    const SPFCheck check(kClient, "", "example.org", 0, "v=spf1");
    EXPECT_EQ(Socket::m_nAccessCounter, before + 1);
  }
  EXPECT_EQ(Socket::m_nAccessCounter, before);
}

TEST_F(SPFCheckTest, ItHasNoDescriptorAndATimeoutOf20Seconds) {
  const ScriptedNameServer server(Zone{{"A example.org", {kClient}}});
  const OpenedSPFCheck check(kClient, "", "example.org", 0, "v=spf1 a");
  EXPECT_TRUE(check.getResult());
  EXPECT_EQ(check.m_descriptor, 0);
  EXPECT_EQ(check.m_timeout, 20000);
}

TEST_F(SPFCheckTest, AFailureToShutDownLeavesTheDestructor) {
  const int before = Socket::m_nAccessCounter;
  std::array<int, 2> ends{};  // of a pipe, which cannot be shut down
  ASSERT_EQ(pipe(ends.data()), 0);
  EXPECT_THROW(
      {
        OpenedSPFCheck check(kClient, "", "example.org", 0, "v=spf1");
        check.m_descriptor = ends[0];
      },
      SocketException);
  Socket::m_nAccessCounter = before;  // for the tests after this one
  close(ends[0]);
  close(ends[1]);
}

TEST_F(SPFCheckTest, TheGivenRecordIsCopied) {
  const std::string record = "v=spf1 -all";
  const SPFCheck check(kClient, "", "example.org", 0, record);
  EXPECT_EQ(record, "v=spf1 -all");
  EXPECT_FALSE(check.getResult());
}

TEST_F(SPFCheckTest, AnExceptionLeaksNoSocket) {
  const ScriptedNameServer server(Zone{{"TXT d1.test", {"v=spf1 include:d2.test"}},
                                       {"TXT d2.test", {"v=spf1 ip4:192.0.2.1/x"}}});
  const int before = Socket::m_nAccessCounter;
  EXPECT_THROW(SPFCheck(kClient, "", "example.org", 0, "v=spf1 include:d1.test"),
               std::invalid_argument);
  EXPECT_EQ(Socket::m_nAccessCounter, before);
}

TEST_F(SPFCheckTest, NoTermAndNoOutcomeLeaksASocketOrADescriptor) {
  const ScriptedNameServer server(Zone{{"A example.org", {kClient}}});
  const struct {
    const char* ip;
    const char* record;
  } rows[] = {{kClient, "a"}, {"192.0.2.9", "a"}, {kClient, "mx"}, {kClient, "a/x"}};
  for (const auto& row : rows) {
    const int sockets = Socket::m_nAccessCounter;
    const std::ptrdiff_t descriptors = OpenDescriptors();
    try {
      const SPFCheck check(row.ip, "", "example.org", 0, row.record);
    } catch (const std::invalid_argument&) {  // a/x
    }
    EXPECT_EQ(Socket::m_nAccessCounter, sockets) << row.record;
    EXPECT_EQ(OpenDescriptors(), descriptors) << row.record;
  }
}

// The log.

TEST_F(SPFCheckTest, LinesAreLeftToTheLoggingThreadWhereItRuns) {
  const TemporaryDirectory directory;
  const std::string lines = Begin("v=spf1 x") + NotSupported("x");
  InOwnProcess([&] {
    fwk::Logger::Init((directory.Path() + "/").c_str(), fwk::Debug, false, false);
    fwk::Logger::m_bToFile = true;
    fwk::Logger::m_bToConsole = false;
    {
      const Mutex threadBlocked(fwk::Logger::m_MutexInstance, true);
      fwk::Logger::StartAsync();
      const SPFCheck check(kClient, "", "example.org", 0, "v=spf1 x");
      EXPECT_EQ(directory.Read("current.log"), "");
    }
    EXPECT_TRUE(ComesTrue([&] { return directory.Read("current.log").ends_with(lines); }));
    std::_Exit(HasFailure() ? 1 : 0);  // what static objects clean up is the parent's
  });
}

// The record.

TEST_F(SPFCheckTest, AStaticObjectChecksWhereItsHeaderIsTheOnlyOneIncluded) {
  const OwnMount logs("/var/log");
  SetResolverFile("nameserver 127.0.0.1\n");
  const ScriptedNameServer server(Zone{{"TXT example.org", {"v=spf1 mx ip4:192.0.2.1"}}});
  const ChildResult result = RunChild(STATIC_SPF_CHECK_PROGRAM, {"static_spf_check"}, "/");
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(server.Questions(), Texts{"TXT example.org"});
  EXPECT_TRUE(std::filesystem::exists("/var/log/current.log"));
}

TEST_F(SPFCheckTest, TheVersionAloneFails) {
  const Outcome outcome = CheckRecord("v=spf1");
  EXPECT_FALSE(outcome.passed);
  EXPECT_EQ(outcome.log, Begin("v=spf1"));
  EXPECT_EQ(outcome.questions, Texts{});
}

TEST_F(SPFCheckTest, TheFirstTermThatMatchesEndsTheCheck) {
  const Outcome outcome = CheckRecord("v=spf1 ip4:192.0.2.1 -all x include:d1.test");
  EXPECT_TRUE(outcome.passed);
  EXPECT_EQ(outcome.log, Begin("v=spf1 ip4:192.0.2.1 -all x include:d1.test") +
                             "Debug: SPFCheck::processIP4 - domain::192.0.2.1\n");
  EXPECT_EQ(outcome.questions, Texts{});
}

TEST_F(SPFCheckTest, ALaterTermMayMatch) {
  const Outcome outcome = CheckRecord("v=spf1 ip4:192.0.2.9 x -all ip4:192.0.2.1");
  EXPECT_TRUE(outcome.passed);
  EXPECT_EQ(outcome.log, Begin("v=spf1 ip4:192.0.2.9 x -all ip4:192.0.2.1") +
                             "Debug: SPFCheck::processIP4 - domain::192.0.2.9\n" +
                             NotSupported("x") +
                             "Debug: SPFCheck::processIP4 - domain::192.0.2.1\n");
}

TEST_F(SPFCheckTest, TheVersionMayComeLaterOrBeMissing) {
  EXPECT_TRUE(CheckRecord("ip4:192.0.2.1").passed);
  EXPECT_TRUE(CheckRecord("ip4:192.0.2.9 v=spf1 ip4:192.0.2.1").passed);
}

TEST_F(SPFCheckTest, AQualifiedAllFailsWithoutALine) {
  for (const char* record : {"v=spf1 -all", "v=spf1 ~all", "v=spf1 ?all", "v=spf1 +all"}) {
    const Outcome outcome = CheckRecord(record);
    EXPECT_FALSE(outcome.passed);
    EXPECT_EQ(outcome.log, Begin(record));
  }
}

TEST_F(SPFCheckTest, AMechanismWithAQualifierOtherThanPlusIsLoggedAsNotSupported) {
  const Outcome outcome = CheckRecord("v=spf1 ~ip4:192.0.2.1");
  EXPECT_FALSE(outcome.passed);
  EXPECT_EQ(outcome.log, Begin("v=spf1 ~ip4:192.0.2.1") +
                             "Debug: SPFCheck::process: ~ip4:192.0.2.1 - not supported..\n");
}

TEST_F(SPFCheckTest, WithoutARecordThePublishedOneIsTaken) {
  const Outcome outcome =
      CheckRecord("", Zone{{"TXT example.org", {"text", "v=spf1 ip4:192.0.2.1"}}});
  EXPECT_TRUE(outcome.passed);
  EXPECT_EQ(outcome.log,
            Begin("v=spf1 ip4:192.0.2.1") + "Debug: SPFCheck::processIP4 - domain::192.0.2.1\n");
  EXPECT_EQ(outcome.questions, (Texts{"TXT example.org"}));
}

TEST_F(SPFCheckTest, OfTwoPublishedRecordsTheLastIsTaken) {
  const Zone zone = {{"TXT example.org", {"v=spf1 ip4:192.0.2.1", "v=spf1 ip4:192.0.2.9"}}};
  EXPECT_FALSE(CheckRecord("", zone).passed);
}

TEST_F(SPFCheckTest, ADomainWithoutARecordFails) {
  const Outcome outcome = CheckRecord("", Zone{{"TXT example.org", {"text"}}});
  EXPECT_FALSE(outcome.passed);
  EXPECT_EQ(outcome.log, Begin(""));
  EXPECT_EQ(outcome.questions, (Texts{"TXT example.org"}));
}

TEST_F(SPFCheckTest, AGivenRecordIsNotLookedUp) {
  const Outcome outcome =
      CheckRecord("v=spf1 -all", Zone{{"TXT example.org", {"v=spf1 ip4:192.0.2.1"}}});
  EXPECT_FALSE(outcome.passed);
  EXPECT_EQ(outcome.questions, Texts{});
}

TEST_F(SPFCheckTest, BlanksBetweenTerms) {
  struct Row {
    std::string record;
    bool passed;
    Texts notSupported;
  };
  const Row rows[] = {
      {"v=spf1 x y", false, {"x", "y"}},
      {"v=spf1  x  y", false, {"x", "y"}},          // two are harmless
      {"v=spf1   x", false, {"", "x"}},             // three make an empty term
      {"v=spf1    x", false, {"", "x"}},            // so do four
      {"v=spf1     x", false, {"", "", "x"}},       // and five make two
      {" v=spf1 x", false, {"x"}},                  // one in front stays in the term
      {"  v=spf1 x", false, {"", "x"}},             // two in front do not
      {"v=spf1 x ", false, {"x"}},                  // one at the end goes with the last term
      {"v=spf1 x  ", false, {"x", ""}},             // two do not
      {" ", false, {""}},                           // nothing but blanks
      {"v=spf1 \tx\r\n \ny\t", false, {"x", "y"}},  // blanks of other kinds are trimmed
      {"v=spf1 x\ty", false, {"x\ty"}},             // and separate nothing
      {"v=spf1\tx y", false, {"y"}},
      {"v=spf1 x\v", false, {"x\v"}},  // nothing else is a blank
  };
  for (const Row& row : rows) {
    const Outcome outcome = CheckRecord(row.record);
    std::string log = Begin(row.record);
    for (const std::string& term : row.notSupported) {
      log += NotSupported(term);
    }
    EXPECT_EQ(outcome.log, log);
    EXPECT_EQ(outcome.passed, row.passed) << row.record;
  }
}

TEST_F(SPFCheckTest, EmptyTermsDoNotStopTheWalk) {
  EXPECT_TRUE(CheckRecord("v=spf1  ip4:192.0.2.1").passed);
  EXPECT_TRUE(CheckRecord("v=spf1   ip4:192.0.2.1").passed);
  EXPECT_TRUE(CheckRecord("   ip4:192.0.2.1").passed);
}

TEST_F(SPFCheckTest, ATermEndsAtAZeroByte) {
  EXPECT_TRUE(CheckRecord("ip4:192.0.2.1/32\0x"s).passed);
}

// The domain.

TEST_F(SPFCheckTest, TheSendersDomainReplacesTheDomain) {
  struct Row {
    std::string sender;
    std::string asked;
  };
  const Row rows[] = {
      {"<x@d.test>", "d.test"},
      {"x@d.test", "d.test"},
      {"@d.test", "d.test"},
      {"<x@d.test> ", "d.test"},
      {"x@ d.test\r\n", "d.test"},
      {"x@\td.test>>", "d.test"},
      {"x@@d.test@", "d.test"},      // "@" is trimmed from both ends
      {"a@b@d.test", "b@d.test"},    // from the first "@" on
      {"x@D.Test", "D.Test"},        // no change of case
      {"x@d.test> y", "d.test> y"},  // inside nothing is trimmed
      {"x@<d.test>", "<d.test"},
      {"<x@>", ""},
      {"@", ""},
      {"", "example.org"},
      {"<x>", "example.org"},
      {"d.test", "example.org"},
  };
  for (const Row& row : rows) {
    const Outcome outcome = Check({}, kClient, row.sender, "example.org", 0, "");
    EXPECT_EQ(outcome.questions, (Texts{"TXT " + row.asked})) << row.sender;
    EXPECT_EQ(outcome.log, FirstLine("example.org", row.sender) + RecordLine(""));
    EXPECT_FALSE(outcome.passed);
  }
}

TEST_F(SPFCheckTest, TheSendersDomainEndsAtAZeroByte) {
  EXPECT_EQ(Check({}, kClient, "x@d.test\0y"s, "example.org", 0, "").questions,
            (Texts{"TXT d.test"}));
}

TEST_F(SPFCheckTest, TheRecordOfTheSendersDomainIsEvaluated) {
  const Zone zone = {{"TXT d.test", {"v=spf1 ip4:192.0.2.1"}},
                     {"TXT e.test", {"v=spf1 ip4:192.0.2.9"}}};
  EXPECT_TRUE(Check(zone, kClient, "<x@d.test>", "e.test", 0, "").passed);
  EXPECT_FALSE(Check(zone, kClient, "<x@e.test>", "d.test", 0, "").passed);
}

TEST_F(SPFCheckTest, TheSendersDomainCountsForAGivenRecordToo) {
  const Outcome outcome =
      Check({{"A d.test", {kClient}}}, kClient, "<x@d.test>", "e.test", 0, "v=spf1 a");
  EXPECT_TRUE(outcome.passed);
  EXPECT_EQ(outcome.questions, (Texts{"A d.test"}));
}

TEST_F(SPFCheckTest, NothingIsValidated) {
  const ScriptedNameServer server(Zone{});
  EXPECT_EQ(CaptureLog([] { EXPECT_FALSE(SPFCheck("%s", "%n", "%d", 0, "").getResult()); }),
            "Debug: SPFCheck::SPFCheck ip(%s), smtpFrom(%n), domain(%d)\n"
            "Debug: SPFCheck::SPFCheck spf record = \n");
  EXPECT_EQ(server.Questions(), (Texts{"TXT %d"}));
}

TEST_F(SPFCheckTest, AServerThatCannotBeUsedThrowsToTheCaller) {
  dns_servers = "0.0.0.0";
  EXPECT_EQ(CaptureLog([] {
              try {
                const SPFCheck check(kClient, "", "example.org", 0, "");
                ADD_FAILURE() << "connected";
              } catch (const UDPSocketException& e) {
                EXPECT_STREQ(e.what(), "UDPSocket::Connect - inet_addr() failed");
              }
            }),
            FirstLine("example.org"));
}

// The terms.

TEST_F(SPFCheckTest, TheFirstLettersOfATermSelectItsMechanism) {
  const std::string none = "";
  const std::string candidate = "Debug: SPFCheck::checkDomain: ip::192.0.2.1 == ARecord::192.0.2.1";
  const std::string aOfExample =
      "Debug: SPFCheck::processA - domain::example.org\n" + candidate + "\n";
  const std::string aOfD = "Debug: SPFCheck::processA - domain::d.test\n" + candidate + "\n";
  const std::string nested = FirstLine("d.test") + RecordLine("v=spf1 ip4:192.0.2.1") +
                             "Debug: SPFCheck::processIP4 - domain::192.0.2.1\n";
  struct Row {
    std::string term;
    bool passed;
    std::string log;
    Texts questions;
  };
  const Row rows[] = {
      {"v=spf1", false, none, {}},
      {"v=spf", false, none, {}},
      {"v=spf2.0/pra", false, none, {}},
      {"a", true, aOfExample, {"A example.org"}},
      {"a:d.test", true, aOfD, {"A d.test"}},
      {"all", true, aOfExample, {"A example.org"}},
      {"all:d.test", true, aOfD, {"A d.test"}},
      {"aaaa", true, aOfExample, {"A example.org"}},
      {"aaaa:d.test", true, aOfD, {"A d.test"}},
      {"mx", false, none, {}},
      {"mx:d.test", false, none, {}},
      {"mxyz:d.test/24", false, none, {}},
      {"ip4:192.0.2.1", true, "Debug: SPFCheck::processIP4 - domain::192.0.2.1\n", {}},
      {"ip4=192.0.2.1", true, "Debug: SPFCheck::processIP4 - domain::192.0.2.1\n", {}},
      {"include:d.test",
       true,
       "Debug: SPFCheck::processINCLUDE - domain::d.test\n" + nested,
       {"TXT d.test"}},
      {"redirect=d.test",
       true,
       "Debug: SPFCheck::processREDIRECT - domain::d.test\n" + nested,
       {"TXT d.test"}},
      {"+a", true, aOfExample, {"A example.org"}},
      {"+a:d.test", true, aOfD, {"A d.test"}},
      {"+aaaa", true, aOfExample, {"A example.org"}},
      {"+al", true, aOfExample, {"A example.org"}},
      {"+mx", false, none, {}},
      {"+mx:d.test", false, none, {}},
      {"+ip4:192.0.2.1", false, "Debug: SPFCheck::processIP4 - domain:::192.0.2.1\n", {}},
      {"+include:d.test",
       false,
       "Debug: SPFCheck::processINCLUDE - domain:::d.test\n" + FirstLine(":d.test") +
           RecordLine(""),
       {"TXT :d.test"}},
      {"+redirect=d.test",
       false,
       "Debug: SPFCheck::processREDIRECT - domain::=d.test\n" + FirstLine("=d.test") +
           RecordLine(""),
       {"TXT =d.test"}},
      {"-all", false, none, {}},
      {"~all", false, none, {}},
      {"?all", false, none, {}},
      {"+all", false, none, {}},
      {"+all:d.test", false, none, {}},
      {"+allow", false, none, {}},
      {"?all:d.test", false, none, {}},
      {"-allow", false, none, {}},
      {"xall", false, none, {}},
      {"-ball", false, NotSupported("-ball"), {}},  // "all" not at index 1
      {"ALL", false, NotSupported("ALL"), {}},
      {"-ALL", false, NotSupported("-ALL"), {}},
      {"~ip4:192.0.2.1", false, NotSupported("~ip4:192.0.2.1"), {}},
      {"-ip4:192.0.2.1", false, NotSupported("-ip4:192.0.2.1"), {}},
      {"?ip4:192.0.2.1", false, NotSupported("?ip4:192.0.2.1"), {}},
      {"~a", false, NotSupported("~a"), {}},
      {"-a:d.test", false, NotSupported("-a:d.test"), {}},
      {"-mx", false, NotSupported("-mx"), {}},
      {"~include:d.test", false, NotSupported("~include:d.test"), {}},
      {"?redirect=d.test", false, NotSupported("?redirect=d.test"), {}},
      {"++a", false, NotSupported("++a"), {}},
      {"+v=spf1", false, NotSupported("+v=spf1"), {}},
      {"ip6:2001:db8::1", false, NotSupported("ip6:2001:db8::1"), {}},
      {"ptr", false, NotSupported("ptr"), {}},
      {"exists:d.test", false, NotSupported("exists:d.test"), {}},
      {"exp=d.test", false, NotSupported("exp=d.test"), {}},
      {"A", false, NotSupported("A"), {}},
      {"MX", false, NotSupported("MX"), {}},
      {"IP4:192.0.2.1", false, NotSupported("IP4:192.0.2.1"), {}},
      {"Include:d.test", false, NotSupported("Include:d.test"), {}},
      {"REDIRECT=d.test", false, NotSupported("REDIRECT=d.test"), {}},
      {"V=spf1", false, NotSupported("V=spf1"), {}},
      {"v=SPF1", false, NotSupported("v=SPF1"), {}},
      {"v=sp", false, NotSupported("v=sp"), {}},
      {"m", false, NotSupported("m"), {}},
      {"ip", false, NotSupported("ip"), {}},
      {"inclu", false, NotSupported("inclu"), {}},
      {"redir", false, NotSupported("redir"), {}},
      {"+", false, NotSupported("+"), {}},
      {"%s%n", false, NotSupported("%s%n"), {}},
  };
  const Zone zone = {{"A example.org", {kClient}},
                     {"A d.test", {kClient}},
                     {"TXT d.test", {"v=spf1 ip4:192.0.2.1"}}};
  for (const Row& row : rows) {
    const Outcome outcome = CheckRecord(row.term, zone);
    EXPECT_EQ(outcome.passed, row.passed) << row.term;
    EXPECT_EQ(outcome.log, Begin(row.term) + row.log);
    EXPECT_EQ(outcome.questions, row.questions) << row.term;
  }
}

// The depth.

TEST_F(SPFCheckTest, BeyondDepth10NothingIsEvaluated) {
  for (const int depth : {11, 12, 2147483647}) {
    const Outcome outcome = Check({}, kClient, "<x@d.test>", "example.org", depth, "");
    EXPECT_FALSE(outcome.passed);
    EXPECT_EQ(outcome.log, kDeep);
    EXPECT_EQ(outcome.questions, Texts{});
    EXPECT_FALSE(Check({}, kClient, "", "example.org", depth, "ip4:192.0.2.1").passed);
  }
}

TEST_F(SPFCheckTest, Depth10AndNegativeDepthsAreEvaluated) {
  for (const int depth : {10, 0, -1, -2147483647 - 1}) {
    const Outcome outcome = Check({}, kClient, "", "example.org", depth, "ip4:192.0.2.1");
    EXPECT_TRUE(outcome.passed);
    EXPECT_EQ(outcome.log,
              Begin("ip4:192.0.2.1") + "Debug: SPFCheck::processIP4 - domain::192.0.2.1\n");
  }
}

TEST_F(SPFCheckTest, AChainOfIncludesHasElevenLevels) {
  const Outcome outcome = Check(Chain(), kClient, "", "d0.test", 0, "");
  EXPECT_FALSE(outcome.passed);
  EXPECT_EQ(outcome.questions, ChainQuestions(11));
  std::string log;
  for (int i = 0; i <= 10; ++i) {
    const std::string next = Domain(i + 1);
    log += FirstLine(Domain(i)) + RecordLine("v=spf1 include:" + next) +
           "Debug: SPFCheck::processINCLUDE - domain::" + next + "\n";
  }
  EXPECT_EQ(outcome.log, log + kDeep);
}

TEST_F(SPFCheckTest, AMatchAtTheLastLevelOfAChainPassesAndOneBelowDoesNot) {
  Zone zone = Chain();
  zone["TXT d11.test"] = {"v=spf1 ip4:192.0.2.1"};
  EXPECT_FALSE(Check(zone, kClient, "", "d0.test", 0, "").passed);
  zone["TXT d10.test"] = {"v=spf1 ip4:192.0.2.1"};
  EXPECT_TRUE(Check(zone, kClient, "", "d0.test", 0, "").passed);
}

TEST_F(SPFCheckTest, AChainThatBeginsAtANegativeDepthIsLonger) {
  const Outcome outcome = Check(Chain(), kClient, "", "d0.test", -3, "");
  EXPECT_EQ(outcome.questions, ChainQuestions(14));
  EXPECT_TRUE(outcome.log.ends_with(kDeep));
}

TEST_F(SPFCheckTest, AChainThatBeginsAtDepth10HasOneLevel) {
  const Outcome outcome = Check(Chain(), kClient, "", "d0.test", 10, "");
  EXPECT_EQ(outcome.questions, ChainQuestions(1));
  EXPECT_TRUE(outcome.log.ends_with(kDeep));
}

TEST_F(SPFCheckTest, ALoopOfTwoDomainsEndsAtTheDepthLimit) {
  const Zone zone = {{"TXT d0.test", {"v=spf1 redirect=d1.test"}},
                     {"TXT d1.test", {"v=spf1 redirect=d0.test"}}};
  const Outcome outcome = Check(zone, kClient, "", "d0.test", 0, "");
  EXPECT_FALSE(outcome.passed);
  EXPECT_EQ(outcome.questions.size(), 11U);
  EXPECT_EQ(Count(outcome.log, kDeep), 1);
}

TEST_F(SPFCheckTest, OfElevenSiblingIncludesTheEleventhIsTooDeep) {
  std::string record = "v=spf1";
  std::string log;
  for (int i = 0; i < 11; ++i) {
    const std::string domain = Domain(i);
    record += " include:" + domain;
    log += "Debug: SPFCheck::processINCLUDE - domain::" + domain + "\n";
    log += i < 10 ? FirstLine(domain) + RecordLine("v=spf1 -all") : kDeep;
  }
  Zone zone;
  for (const std::string& question : ChainQuestions(10)) {
    zone[question] = {"v=spf1 -all"};
  }
  zone["TXT d10.test"] = {"v=spf1 ip4:192.0.2.1"};
  const Outcome outcome = CheckRecord(record, zone);
  EXPECT_FALSE(outcome.passed);
  EXPECT_EQ(outcome.log, Begin(record) + log);
  EXPECT_EQ(outcome.questions, ChainQuestions(10));
}

TEST_F(SPFCheckTest, TheTenthSiblingMayStillMatchItself) {
  std::string record = "v=spf1";
  for (int i = 0; i < 10; ++i) {
    record += " include:" + Domain(i);
  }
  EXPECT_TRUE(CheckRecord(record, {{"TXT d9.test", {"v=spf1 ip4:192.0.2.1"}}}).passed);
  // But what it includes is too deep.
  const Outcome outcome = CheckRecord(record, {{"TXT d9.test", {"v=spf1 include:d10.test"}},
                                               {"TXT d10.test", {"v=spf1 ip4:192.0.2.1"}}});
  EXPECT_FALSE(outcome.passed);
  EXPECT_EQ(outcome.questions, ChainQuestions(10));
}

TEST_F(SPFCheckTest, EachIncludeAndRedirectThatIsStartedCountsAndNothingElse) {
  // The two started ones make the third too deep.
  const Outcome outcome =
      Check({}, kClient, "", "example.org", 8,
            "include:example.org include: redirect= a mx ip4:192.0.2.9 x include:d0.test "
            "redirect=d1.test include:d2.test");
  EXPECT_EQ(outcome.questions, (Texts{"A example.org", "TXT d0.test", "TXT d1.test"}));
  EXPECT_EQ(Count(outcome.log, kDeep), 1);
}

TEST_F(SPFCheckTest, TheDepthOfANestedCheckDoesNotCountForItsSiblings) {
  // d0.test starts five of its own; that is nothing to example.org.
  const Zone zone = {{"TXT d0.test", {"include:x1 include:x2 include:x3 include:x4 v=spf1"}},
                     {"TXT d1.test", {"v=spf1 ip4:192.0.2.1"}}};
  const Outcome outcome =
      Check(zone, kClient, "", "example.org", 5, "include:d0.test include:d1.test");
  EXPECT_TRUE(outcome.passed);
  EXPECT_EQ(Count(outcome.log, kDeep), 0);
}
