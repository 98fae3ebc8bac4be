#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <type_traits>

#include "framework/core/Exceptions.h"
#include "tests/support/StreamPair.h"
#include "tests/tool/RecordingObserver.h"
#include "tool/BudgetException.h"
#include "tool/CheckBudget.h"

namespace {

using std::chrono::milliseconds;
using Clock = CheckBudget::Clock;
using Reason = BudgetException::Reason;
using Wait = CheckBudget::Wait;

constexpr milliseconds kSlack(1000);  // for a busy machine

class CheckBudgetTest : public testing::Test {
 protected:
  static Reason ReasonOf(CheckBudget& budget) {
    try {
      budget.TakeLookUp();
    } catch (const BudgetException& e) {
      return e.GetReason();
    }
    ADD_FAILURE() << "the budget allows one more look-up";
    return Reason::kHangUp;
  }

  // Waits, and expects that this takes from `least` to a little more.
  static Wait WaitBetween(milliseconds least, const CheckBudget& budget, int descriptor,
                          int timeoutMs) {
    const auto start = Clock::now();
    const Wait result = budget.WaitToRead(descriptor, timeoutMs);
    const auto took = Clock::now() - start;
    EXPECT_GE(took, least);
    EXPECT_LT(took, least + kSlack);
    return result;
  }

  // Makes pair.One() readable.
  static void Write(const StreamPair& pair) { EXPECT_EQ(write(pair.Other(), "x", 1), 1); }

  CheckBudget Until(milliseconds deadline) { return {20, Clock::now() + deadline, m_observer}; }

  RecordingObserver m_observer;
};

}  // namespace

TEST_F(CheckBudgetTest, TheExceptionNamesItsReasonAndIsNotASocketException) {
  const struct {
    Reason reason;
    const char* text;
  } rows[] = {{Reason::kLookUps, "more look-ups than allowed"},
              {Reason::kTime, "time limit reached"},
              {Reason::kHangUp, "nobody waits for the verdict"}};
  for (const auto& row : rows) {
    const BudgetException exception(row.reason);
    EXPECT_EQ(exception.GetReason(), row.reason);
    EXPECT_STREQ(exception.what(), row.text);
  }
  EXPECT_TRUE((std::is_base_of_v<StdException, BudgetException>));
  EXPECT_FALSE((std::is_base_of_v<SocketException, BudgetException>));
}

TEST_F(CheckBudgetTest, NoMoreLookUpsThanAllowedMayBeMade) {
  CheckBudget budget(3, Clock::now() + std::chrono::hours(1), m_observer);
  for (std::uint32_t made = 1; made <= 3; ++made) {
    EXPECT_NO_THROW(budget.TakeLookUp());
    EXPECT_EQ(budget.GetLookUps(), made);
  }
  EXPECT_EQ(ReasonOf(budget), Reason::kLookUps);
  EXPECT_EQ(ReasonOf(budget), Reason::kLookUps);
  EXPECT_EQ(budget.GetLookUps(), 3U);
}

TEST_F(CheckBudgetTest, ABudgetOfZeroAllowsNoLookUp) {
  CheckBudget budget(0, Clock::time_point::max(), m_observer);
  EXPECT_EQ(ReasonOf(budget), Reason::kLookUps);
  EXPECT_EQ(budget.GetLookUps(), 0U);
}

TEST_F(CheckBudgetTest, AfterTheDeadlineNoLookUpMayBeMade) {
  CheckBudget budget(3, Clock::now(), m_observer);
  EXPECT_EQ(ReasonOf(budget), Reason::kTime);
  CheckBudget never(3, Clock::time_point::min(), m_observer);
  EXPECT_EQ(ReasonOf(never), Reason::kTime);
  EXPECT_EQ(never.GetLookUps(), 0U);
}

TEST_F(CheckBudgetTest, ItKeepsItsObserver) {
  const CheckBudget budget(1, Clock::now(), m_observer);
  EXPECT_EQ(&budget.GetObserver(), &m_observer);
}

TEST_F(CheckBudgetTest, AWaitEndsWhenThereIsSomethingToRead) {
  const StreamPair pair;
  const CheckBudget budget = Until(std::chrono::minutes(1));
  Write(pair);
  EXPECT_EQ(WaitBetween(milliseconds(0), budget, pair.One(), 5000), Wait::kReadable);
  const CheckBudget late = Until(milliseconds(0));
  EXPECT_EQ(WaitBetween(milliseconds(0), late, pair.One(), 5000), Wait::kReadable);
}

TEST_F(CheckBudgetTest, AWaitEndsWithItsTimeout) {
  const StreamPair pair;
  const CheckBudget budget = Until(std::chrono::minutes(1));
  EXPECT_EQ(WaitBetween(milliseconds(200), budget, pair.One(), 200), Wait::kTimedOut);
  EXPECT_EQ(WaitBetween(milliseconds(0), budget, pair.One(), 0), Wait::kTimedOut);
  const CheckBudget forever(1, Clock::time_point::max(), m_observer);
  EXPECT_EQ(WaitBetween(milliseconds(20), forever, pair.One(), 20), Wait::kTimedOut);
}

TEST_F(CheckBudgetTest, AWaitEndsWithTheDeadline) {
  const StreamPair pair;
  const CheckBudget budget = Until(milliseconds(200));
  EXPECT_EQ(WaitBetween(milliseconds(190), budget, pair.One(), 5000), Wait::kDeadline);
  EXPECT_EQ(WaitBetween(milliseconds(0), budget, pair.One(), 5000), Wait::kDeadline);
}

TEST_F(CheckBudgetTest, SignalsDoNotMakeAWaitLonger) {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
  const StreamPair pair;
  const CheckBudget budget = Until(milliseconds(300));
  const pthread_t waiting = pthread_self();
  std::atomic<bool> isOver = false;
  std::thread storm([&] {
    while (!isOver) {
      pthread_kill(waiting, SIGUSR1);
      std::this_thread::sleep_for(milliseconds(1));
    }
  });
  EXPECT_EQ(WaitBetween(milliseconds(290), budget, pair.One(), 5000), Wait::kDeadline);
  isOver = true;
  storm.join();
}

TEST_F(CheckBudgetTest, AWaitEndsWhenThePeerHangsUp) {
  const StreamPair answers;
  StreamPair client;
  CheckBudget budget = Until(std::chrono::minutes(1));
  budget.EndWithHangUpOf(client.One());
  EXPECT_EQ(WaitBetween(milliseconds(50), budget, answers.One(), 50), Wait::kTimedOut);
  Write(client);  // which does not matter
  EXPECT_EQ(WaitBetween(milliseconds(50), budget, answers.One(), 50), Wait::kTimedOut);
  std::jthread hangUp([&] {
    std::this_thread::sleep_for(milliseconds(200));
    client.CloseOther();
  });
  EXPECT_EQ(WaitBetween(milliseconds(150), budget, answers.One(), 5000), Wait::kHangUp);
  EXPECT_EQ(WaitBetween(milliseconds(0), budget, answers.One(), 5000), Wait::kHangUp);
}

TEST_F(CheckBudgetTest, AnAnswerCountsBeforeAHangUp) {
  const StreamPair answers;
  StreamPair client;
  CheckBudget budget = Until(std::chrono::minutes(1));
  budget.EndWithHangUpOf(client.One());
  client.CloseOther();
  Write(answers);
  EXPECT_EQ(budget.WaitToRead(answers.One(), 5000), Wait::kReadable);
}
