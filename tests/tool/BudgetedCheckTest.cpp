// The check with a budget: SPFCheck's second constructor.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "framework/dns/NameServer.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/ScriptedNameServer.h"
#include "tests/tool/RecordingObserver.h"
#include "tests/tool/VirtualTable.h"
#include "tool/BudgetException.h"
#include "tool/CheckBudget.h"
#include "tool/SPFCheck.h"

namespace {

using Clock = CheckBudget::Clock;
using Reason = BudgetException::Reason;
using Texts = std::vector<std::string>;
using Zone = ScriptedNameServer::Zone;

constexpr char kClient[] = "192.0.2.1";

class BudgetedCheckTest : public testing::Test {
 protected:
  BudgetedCheckTest() {
    dns_servers = "127.0.0.1";
    DoNotLog();
  }

  // Checks `record` for the client 192.0.2.1 and the domain d.test.
  bool Check(const Zone& zone, const std::string& record, std::uint32_t lookUps = 100,
             const std::string& sender = "", int depth = 0) {
    const ScriptedNameServer server(zone);
    CheckBudget budget(lookUps, Clock::now() + std::chrono::minutes(1), m_observer);
    m_questions.clear();
    try {
      const SPFCheck check(kClient, sender, "d.test", depth, record, budget);
      m_questions = server.Questions();
      return check.getResult();
    } catch (...) {
      m_questions = server.Questions();
      throw;
    }
  }

  RecordingObserver m_observer;
  Texts m_questions;
};

// The fields of SPFCheck, in their order.
struct Fields : Socket {
  bool result;
  std::string smtpFrom;
  std::string domain;
  std::int32_t depth;
  CheckBudget* budget;
};

// The last two fields of SPFCheck.
struct Tail {
  std::int32_t depth;
  const CheckBudget* budget;
};

Tail TailOf(const SPFCheck& check) {
  Tail tail{};
  std::memcpy(&tail, reinterpret_cast<const char*>(&check) + sizeof(SPFCheck) - sizeof(Tail),
              sizeof(Tail));
  return tail;
}

}  // namespace

TEST_F(BudgetedCheckTest, TheBudgetIsTheLastFieldAfterTheDepth) {
  EXPECT_EQ(sizeof(SPFCheck), sizeof(Fields));
  CheckBudget budget(1, Clock::now() + std::chrono::minutes(1), m_observer);
  const SPFCheck limited(kClient, "", "d.test", 7, "v=spf1", budget);
  EXPECT_EQ(TailOf(limited).depth, 7);
  EXPECT_EQ(TailOf(limited).budget, &budget);
  const SPFCheck plain(kClient, "", "d.test", 3, "v=spf1");
  EXPECT_EQ(TailOf(plain).depth, 3);
  EXPECT_EQ(TailOf(plain).budget, nullptr);
}

TEST_F(BudgetedCheckTest, ItOverridesOnlyTheDestructorOfSocket) {
  const Socket socket(0, 0);
  const SPFCheck check(kClient, "", "d.test", 0, "v=spf1");
  EXPECT_EQ(DifferentSlots(VirtualOperations(socket, 6), VirtualOperations(check, 6)),
            (std::set<std::size_t>{0, 1}));
}

TEST_F(BudgetedCheckTest, TheObserverIsToldEachStepInOrder) {
  const Zone zone = {{"TXT d.test", {"v=spf1 a  include:e.test redirect=f.test -all"}},
                     {"A d.test", {"192.0.2.8", "192.0.2.9"}},
                     {"TXT e.test", {"v=spf1 ip4:192.0.2.7 mx"}},
                     {"TXT f.test", {"v=spf1 x a:g.test"}},
                     {"A g.test", {kClient}}};
  EXPECT_TRUE(Check(zone, ""));
  EXPECT_EQ(m_observer.Steps(), (Texts{
                                    "check d.test",
                                    "look-up TXT d.test",
                                    "record v=spf1 a  include:e.test redirect=f.test -all",
                                    "term v=spf1",
                                    "no match",
                                    "term a",
                                    "look-up A d.test",
                                    "no match",
                                    "term include:e.test",
                                    "check e.test",
                                    "look-up TXT e.test",
                                    "record v=spf1 ip4:192.0.2.7 mx",
                                    "term v=spf1",
                                    "no match",
                                    "term ip4:192.0.2.7",
                                    "no match",
                                    "term mx",
                                    "no match",
                                    "failed",
                                    "no match",
                                    "term redirect=f.test",
                                    "check f.test",
                                    "look-up TXT f.test",
                                    "record v=spf1 x a:g.test",
                                    "term v=spf1",
                                    "no match",
                                    "term x",
                                    "no match",
                                    "term a:g.test",
                                    "look-up A g.test",
                                    "match",
                                    "passed",
                                    "match",
                                    "passed",
                                }));
}

TEST_F(BudgetedCheckTest, AGivenRecordIsToldWithoutALookUp) {
  EXPECT_FALSE(Check({}, "v=spf1 -all"));
  EXPECT_EQ(m_observer.Steps(), (Texts{"check d.test", "record v=spf1 -all", "term v=spf1",
                                       "no match", "term -all", "no match", "failed"}));
}

TEST_F(BudgetedCheckTest, AMissingRecordIsToldAsAnEmptyOne) {
  EXPECT_FALSE(Check({}, ""));
  EXPECT_EQ(m_observer.Steps(), (Texts{"check d.test", "look-up TXT d.test", "record ", "failed"}));
}

TEST_F(BudgetedCheckTest, TheDomainOfTheSenderIsTold) {
  EXPECT_FALSE(Check({}, "v=spf1", 100, "<joe@e.test>"));
  EXPECT_EQ(m_observer.Steps().front(), "check e.test");
}

TEST_F(BudgetedCheckTest, ACheckThatIsTooDeepSaysSoAndEvaluatesNothing) {
  EXPECT_FALSE(Check({}, "v=spf1 ip4:192.0.2.1", 100, "", 11));
  EXPECT_EQ(m_observer.Steps(), (Texts{"check d.test", "too deep", "failed"}));
}

TEST_F(BudgetedCheckTest, TermsAreToldWithoutTheBlanksAroundThem) {
  EXPECT_FALSE(Check({}, "v=spf1   \tx\r\n "));
  EXPECT_EQ(m_observer.Steps(),
            (Texts{"check d.test", "record v=spf1   \tx\r\n ", "term v=spf1", "no match", "term ",
                   "no match", "term x", "no match", "failed"}));
}

TEST_F(BudgetedCheckTest, NestedChecksUseTheSameBudget) {
  const Zone zone = {{"TXT d.test", {"v=spf1 include:e.test include:f.test"}},
                     {"TXT e.test", {"v=spf1 a:g.test"}},
                     {"TXT f.test", {"v=spf1 a:h.test ip4:192.0.2.1"}}};
  EXPECT_TRUE(Check(zone, "", 5));
  const Texts all = {"TXT d.test", "TXT e.test", "A g.test", "TXT f.test", "A h.test"};
  EXPECT_EQ(m_questions, all);
  for (std::uint32_t allowed = 0; allowed < 5; ++allowed) {
    try {
      Check(zone, "", allowed);
      ADD_FAILURE() << "a verdict by " << allowed << " look-ups";
    } catch (const BudgetException& e) {
      EXPECT_EQ(e.GetReason(), Reason::kLookUps);
    }
    EXPECT_EQ(m_questions, Texts(all.begin(), all.begin() + allowed));
  }
}

TEST_F(BudgetedCheckTest, ASpentBudgetStillAllowsAVerdictWithoutALookUp) {
  const Zone zone = {{"TXT d.test", {"v=spf1 ip4:192.0.2.1 a"}}};
  EXPECT_TRUE(Check(zone, "", 1));
  EXPECT_TRUE(Check(zone, "v=spf1 mx -mx ip4:192.0.2.1", 0));
}

TEST_F(BudgetedCheckTest, ARecordThatAsksForThousandsOfLookUpsIsCutShort) {
  Zone zone;
  for (const char* name : {"d.test", "e.test", "f.test"}) {
    zone[std::string("TXT ") + name] = {
        "v=spf1 include:d.test include:e.test include:f.test include:d.test include:e.test "
        "include:f.test a a a a a a a a a a a"};
  }
  EXPECT_THROW(Check(zone, "", 50), BudgetException);
  EXPECT_EQ(m_questions.size(), 50U);
}

TEST_F(BudgetedCheckTest, AnExceptionEndsTheStepsAndLeaksNothing) {
  const std::ptrdiff_t descriptors = OpenDescriptors();
  const int sockets = Socket::m_nAccessCounter;
  const Zone zone = {{"TXT e.test", {"v=spf1 include"}}, {"TXT f.test", {"v=spf1 a/x"}}};
  EXPECT_THROW(Check(zone, "v=spf1 include:e.test"), std::out_of_range);
  EXPECT_EQ(m_observer.Steps().back(), "term include");
  EXPECT_THROW(Check({{"A d.test", {kClient}}}, "v=spf1 a/x"), std::invalid_argument);
  EXPECT_EQ(m_observer.Steps().back(), "look-up A d.test");
  EXPECT_THROW(Check(zone, "v=spf1 include:e.test", 0), BudgetException);
  EXPECT_EQ(m_observer.Steps().back(), "check e.test");
  EXPECT_EQ(OpenDescriptors(), descriptors);
  EXPECT_EQ(Socket::m_nAccessCounter, sockets);
}

TEST_F(BudgetedCheckTest, AnExceptionOfTheObserverLeavesTheCheck) {
  struct : RecordingObserver {
    void OnLookUp(const LookUp& /*lookUp*/) override { throw std::runtime_error("enough"); }
  } observer;
  const ScriptedNameServer server(Zone{});
  CheckBudget budget(100, Clock::now() + std::chrono::minutes(1), observer);
  const std::ptrdiff_t descriptors = OpenDescriptors();
  EXPECT_THROW(SPFCheck(kClient, "", "d.test", 0, "v=spf1 include:e.test", budget),
               std::runtime_error);
  EXPECT_EQ(OpenDescriptors(), descriptors);
}

TEST_F(BudgetedCheckTest, ABudgetDoesNotChangeTheLog) {
  const ScriptedNameServer server(Zone{
      {"TXT d.test", {"v=spf1 a mx x include:e.test include:d.test -all"}},
      {"A d.test", {"192.0.2.9"}},
      {"TXT e.test", {"v=spf1 ip4:192.0.2.2"}},
  });
  CheckBudget budget(100, Clock::now() + std::chrono::minutes(1), m_observer);
  const std::string log =
      CaptureLog([&] { const SPFCheck check(kClient, "", "d.test", 0, "", budget); });
  EXPECT_EQ(log, CaptureLog([] { const SPFCheck check(kClient, "", "d.test", 0, ""); }));
  EXPECT_NE(log, "");
}
