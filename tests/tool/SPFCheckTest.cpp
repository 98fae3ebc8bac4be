#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "framework/core/Exceptions.h"
#include "framework/core/Locks.h"
#include "framework/dns/NameServer.h"
#include "framework/logging/Logger.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/FailureText.h"
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

// The result of a check.
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

  // Expects that `term` neither matches nor asks, and logs this.
  static void ExpectNoMatch(const std::string& term, const std::string& log) {
    const Outcome outcome = CheckRecord(term);
    EXPECT_FALSE(outcome.passed) << term;
    EXPECT_EQ(outcome.log, Begin(term) + log);
    EXPECT_EQ(outcome.questions, Texts{}) << term;
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

// Returns d0.test, d1.test and so on.
std::string Domain(int number) {
  return std::string("d").append(std::to_string(number)).append(".test");
}

// Returns twenty such domains, each of which includes the next.
Zone Chain() {
  Zone zone;
  for (int i = 0; i < 20; ++i) {
    zone["TXT " + Domain(i)] = {"v=spf1 include:" + Domain(i + 1)};
  }
  return zone;
}

// Returns the text look-ups for d0.test, d1.test and so on.
Texts ChainQuestions(int count) {
  Texts questions;
  for (int i = 0; i < count; ++i) {
    questions.push_back("TXT " + Domain(i));
  }
  return questions;
}

}  // namespace

TEST_F(SPFCheckTest, ItIsASocketThatIsCounted) {
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

TEST_F(SPFCheckTest, NoOutcomeLeaksASocketOrADescriptor) {
  const ScriptedNameServer server(
      Zone{{"A example.org", {kClient}}, {"TXT d1.test", {"v=spf1 ip4:192.0.2.1/x"}}});
  for (const char* record : {"a", "a:d1.test", "mx", "a/x", "v=spf1 include:d1.test"}) {
    const int sockets = Socket::m_nAccessCounter;
    const std::ptrdiff_t descriptors = OpenDescriptors();
    try {
      const SPFCheck check(kClient, "", "example.org", 0, record);
    } catch (const std::invalid_argument&) {  // of the last two
    }
    EXPECT_EQ(Socket::m_nAccessCounter, sockets) << record;
    EXPECT_EQ(OpenDescriptors(), descriptors) << record;
  }
}

TEST_F(SPFCheckTest, WhereTheLoggingThreadRunsItWritesTheLines) {
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
    std::_Exit(HasFailure() ? 1 : 0);  // leaves the static objects to the parent
  });
}

TEST_F(SPFCheckTest, AStaticObjectChecksInAProgramThatIncludesOnlyItsHeader) {
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

TEST_F(SPFCheckTest, TermsAreTriedUntilOneMatches) {
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

TEST_F(SPFCheckTest, WithoutARecordThePublishedOneIsUsed) {
  const Outcome outcome =
      CheckRecord("", Zone{{"TXT example.org", {"text", "v=spf1 ip4:192.0.2.1"}}});
  EXPECT_TRUE(outcome.passed);
  EXPECT_EQ(outcome.log,
            Begin("v=spf1 ip4:192.0.2.1") + "Debug: SPFCheck::processIP4 - domain::192.0.2.1\n");
  EXPECT_EQ(outcome.questions, (Texts{"TXT example.org"}));
}

TEST_F(SPFCheckTest, TheLastOfTwoPublishedRecordsIsUsed) {
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

TEST_F(SPFCheckTest, TwoBlanksSeparateLikeOneAndThreeMakeAnEmptyTerm) {
  const struct {
    std::string record;
    bool passed;
    Texts notSupported;
  } rows[] = {
      {"v=spf1 x y", false, {"x", "y"}},
      {"v=spf1  x  y", false, {"x", "y"}},          // two are harmless
      {"v=spf1   x", false, {"", "x"}},             // three make an empty term
      {"v=spf1    x", false, {"", "x"}},            // as four do
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
  for (const auto& row : rows) {
    const Outcome outcome = CheckRecord(row.record);
    std::string log = Begin(row.record);
    for (const std::string& term : row.notSupported) {
      log += NotSupported(term);
    }
    EXPECT_EQ(outcome.log, log);
    EXPECT_EQ(outcome.passed, row.passed) << row.record;
  }
}

TEST_F(SPFCheckTest, EmptyTermsDoNotStopTheCheck) {
  EXPECT_TRUE(CheckRecord("v=spf1  ip4:192.0.2.1").passed);
  EXPECT_TRUE(CheckRecord("v=spf1   ip4:192.0.2.1").passed);
  EXPECT_TRUE(CheckRecord("   ip4:192.0.2.1").passed);
}

TEST_F(SPFCheckTest, ATermEndsAtAZeroByte) {
  EXPECT_TRUE(CheckRecord("ip4:192.0.2.1/32\0x"s).passed);
}

TEST_F(SPFCheckTest, TheSendersDomainReplacesTheDomain) {
  const struct {
    std::string sender;
    std::string asked;
  } rows[] = {
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
  for (const auto& row : rows) {
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

TEST_F(SPFCheckTest, TheSendersDomainReplacesTheDomainForAGivenRecordToo) {
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

TEST_F(SPFCheckTest, AServerThatCannotBeUsedThrows) {
  dns_servers = "0.0.0.0";
  EXPECT_EQ(CaptureLog([] {
              EXPECT_EQ(FailureText<UDPSocketException>(
                            [] { SPFCheck(kClient, "", "example.org", 0, ""); }),
                        "UDPSocket::Connect - inet_addr() failed");
            }),
            FirstLine("example.org"));
}

TEST_F(SPFCheckTest, TheFirstLettersOfATermSelectItsMechanism) {
  const std::string candidate = "Debug: SPFCheck::checkDomain: ip::192.0.2.1 == ARecord::192.0.2.1";
  const std::string aOfExample =
      "Debug: SPFCheck::processA - domain::example.org\n" + candidate + "\n";
  const std::string aOfD = "Debug: SPFCheck::processA - domain::d.test\n" + candidate + "\n";
  const std::string nested = FirstLine("d.test") + RecordLine("v=spf1 ip4:192.0.2.1") +
                             "Debug: SPFCheck::processIP4 - domain::192.0.2.1\n";
  const struct {
    std::string term;
    bool passed;
    std::string log;
    Texts questions;
  } rows[] = {
      {"a", true, aOfExample, {"A example.org"}},
      {"a:d.test", true, aOfD, {"A d.test"}},
      {"all", true, aOfExample, {"A example.org"}},
      {"all:d.test", true, aOfD, {"A d.test"}},
      {"aaaa", true, aOfExample, {"A example.org"}},
      {"aaaa:d.test", true, aOfD, {"A d.test"}},
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
  };
  const Zone zone = {{"A example.org", {kClient}},
                     {"A d.test", {kClient}},
                     {"TXT d.test", {"v=spf1 ip4:192.0.2.1"}}};
  for (const auto& row : rows) {
    const Outcome outcome = CheckRecord(row.term, zone);
    EXPECT_EQ(outcome.passed, row.passed) << row.term;
    EXPECT_EQ(outcome.log, Begin(row.term) + row.log);
    EXPECT_EQ(outcome.questions, row.questions) << row.term;
  }
  for (const char* term : {"v=spf1", "v=spf", "v=spf2.0/pra", "mx", "mx:d.test", "mxyz:d.test/24",
                           "+mx", "+mx:d.test"}) {
    ExpectNoMatch(term, "");
  }
}

TEST_F(SPFCheckTest, AQualifiedAllFailsWithoutALine) {
  for (const char* term :
       {"-all", "~all", "?all", "+all", "+all:d.test", "+allow", "?all:d.test", "-allow", "xall"}) {
    ExpectNoMatch(term, "");
  }
}

TEST_F(SPFCheckTest, AnyOtherTermIsLoggedAsNotSupported) {
  for (const char* term : {"-ball",
                           "ALL",
                           "-ALL",
                           "~ip4:192.0.2.1",
                           "-ip4:192.0.2.1",
                           "?ip4:192.0.2.1",
                           "~a",
                           "-a:d.test",
                           "-mx",
                           "~include:d.test",
                           "?redirect=d.test",
                           "++a",
                           "+v=spf1",
                           "ip6:2001:db8::1",
                           "ptr",
                           "exists:d.test",
                           "exp=d.test",
                           "A",
                           "MX",
                           "IP4:192.0.2.1",
                           "Include:d.test",
                           "REDIRECT=d.test",
                           "V=spf1",
                           "v=SPF1",
                           "v=sp",
                           "m",
                           "ip",
                           "inclu",
                           "redir",
                           "+",
                           "%s%n"}) {
    ExpectNoMatch(term, NotSupported(term));
  }
}

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

TEST_F(SPFCheckTest, AMatchAtDepth10PassesAndOneBelowDoesNot) {
  Zone zone = Chain();
  zone["TXT d11.test"] = {"v=spf1 ip4:192.0.2.1"};
  EXPECT_FALSE(Check(zone, kClient, "", "d0.test", 0, "").passed);
  zone["TXT d10.test"] = {"v=spf1 ip4:192.0.2.1"};
  EXPECT_TRUE(Check(zone, kClient, "", "d0.test", 0, "").passed);
}

TEST_F(SPFCheckTest, AChainEndsAtDepth10WhereverItBegins) {
  for (const int depth : {-3, 9, 10}) {
    const Outcome outcome = Check(Chain(), kClient, "", "d0.test", depth, "");
    EXPECT_EQ(outcome.questions, ChainQuestions(11 - depth));
    EXPECT_TRUE(outcome.log.ends_with(kDeep));
  }
}

TEST_F(SPFCheckTest, ALoopOfTwoDomainsEndsAtTheDepthLimit) {
  const Zone zone = {{"TXT d0.test", {"v=spf1 redirect=d1.test"}},
                     {"TXT d1.test", {"v=spf1 redirect=d0.test"}}};
  const Outcome outcome = Check(zone, kClient, "", "d0.test", 0, "");
  EXPECT_FALSE(outcome.passed);
  EXPECT_EQ(outcome.questions.size(), 11U);
  EXPECT_EQ(Count(outcome.log, kDeep), 1);
}

TEST_F(SPFCheckTest, TheEleventhSiblingIncludeIsTooDeep) {
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

TEST_F(SPFCheckTest, TheTenthSiblingMayMatchButNotInclude) {
  std::string record = "v=spf1";
  for (int i = 0; i < 10; ++i) {
    record += " include:" + Domain(i);
  }
  EXPECT_TRUE(CheckRecord(record, {{"TXT d9.test", {"v=spf1 ip4:192.0.2.1"}}}).passed);
  const Outcome outcome = CheckRecord(record, {{"TXT d9.test", {"v=spf1 include:d10.test"}},
                                               {"TXT d10.test", {"v=spf1 ip4:192.0.2.1"}}});
  EXPECT_FALSE(outcome.passed);
  EXPECT_EQ(outcome.questions, ChainQuestions(10));
}

TEST_F(SPFCheckTest, OnlyIncludesAndRedirectsThatStartACheckCountForTheDepth) {
  // Two start a check, and the third is too deep.
  const Outcome outcome =
      Check({}, kClient, "", "example.org", 8,
            "include:example.org include: redirect= a mx ip4:192.0.2.9 x include:d0.test "
            "redirect=d1.test include:d2.test");
  EXPECT_EQ(outcome.questions, (Texts{"A example.org", "TXT d0.test", "TXT d1.test"}));
  EXPECT_EQ(Count(outcome.log, kDeep), 1);
}

TEST_F(SPFCheckTest, TheDepthOfANestedCheckDoesNotCountForItsSiblings) {
  // The four of d0.test count for d0.test alone.
  const Zone zone = {{"TXT d0.test", {"include:x1 include:x2 include:x3 include:x4 v=spf1"}},
                     {"TXT d1.test", {"v=spf1 ip4:192.0.2.1"}}};
  const Outcome outcome =
      Check(zone, kClient, "", "example.org", 5, "include:d0.test include:d1.test");
  EXPECT_TRUE(outcome.passed);
  EXPECT_EQ(Count(outcome.log, kDeep), 0);
}
