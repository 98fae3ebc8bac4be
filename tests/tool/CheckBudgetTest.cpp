#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "framework/core/Exceptions.h"
#include "tests/tool/RecordingObserver.h"
#include "tool/BudgetException.h"
#include "tool/CheckBudget.h"

namespace {

using std::chrono::milliseconds;
using Clock = CheckBudget::Clock;
using Reason = BudgetException::Reason;
using Wait = CheckBudget::Wait;

constexpr milliseconds kSlack(1000);  // for a busy machine

// Two connected stream sockets.
class Pair {
 public:
  Pair() {
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, m_ends.data()) < 0) {
      ADD_FAILURE() << "socketpair";
    }
  }
  ~Pair() {
    close(m_ends[0]);
    CloseOther();
  }
  Pair(const Pair&) = delete;
  Pair& operator=(const Pair&) = delete;

  int One() const { return m_ends[0]; }
  void CloseOther() {
    if (m_ends[1] >= 0) {
      close(m_ends[1]);
      m_ends[1] = -1;
    }
  }
  void Write() const { EXPECT_EQ(write(m_ends[1], "x", 1), 1); }

 private:
  std::array<int, 2> m_ends{};
};

class CheckBudgetTest : public testing::Test {
 protected:
  static Reason ReasonOf(CheckBudget& budget) {
    try {
      budget.TakeLookUp();
    } catch (const BudgetException& e) {
      return e.GetReason();
    }
    ADD_FAILURE() << "the budget allows one look-up more";
    return Reason::kHangUp;
  }

  // Waits, and holds how long that took against its bounds.
  static Wait WaitBetween(milliseconds least, const CheckBudget& budget, int descriptor,
                          int timeoutMs) {
    const auto start = Clock::now();
    const Wait result = budget.WaitToRead(descriptor, timeoutMs);
    const auto took = Clock::now() - start;
    EXPECT_GE(took, least);
    EXPECT_LT(took, least + kSlack);
    return result;
  }

  CheckBudget Until(milliseconds deadline) { return {20, Clock::now() + deadline, m_observer}; }

  RecordingObserver m_observer;
};

}  // namespace

// The exception.

TEST_F(CheckBudgetTest, TheExceptionIsOneOfTheFrameworksAndNamesItsReason) {
  const struct {
    Reason reason;
    const char* text;
  } rows[] = {{Reason::kLookUps, "more look-ups than allowed"},
              {Reason::kTime, "time limit reached"},
              {Reason::kHangUp, "nobody waits for the verdict"}};
  for (const auto& row : rows) {
    try {
      throw BudgetException(row.reason);
    } catch (const SocketException&) {
      ADD_FAILURE() << "it is no failure of a socket";
    } catch (const StdException& e) {
      EXPECT_STREQ(e.what(), row.text);
    }
    EXPECT_EQ(BudgetException(row.reason).GetReason(), row.reason);
  }
}

// The look-ups.

TEST_F(CheckBudgetTest, AsManyLookUpsAsAllowedMayBeMade) {
  CheckBudget budget(3, Clock::now() + std::chrono::hours(1), m_observer);
  for (std::uint32_t made = 1; made <= 3; ++made) {
    EXPECT_NO_THROW(budget.TakeLookUp());
    EXPECT_EQ(budget.GetLookUps(), made);
  }
  EXPECT_EQ(ReasonOf(budget), Reason::kLookUps);
  EXPECT_EQ(ReasonOf(budget), Reason::kLookUps);
  EXPECT_EQ(budget.GetLookUps(), 3U);
}

TEST_F(CheckBudgetTest, ABudgetOfNoneAllowsNone) {
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

TEST_F(CheckBudgetTest, ItHasItsObserver) {
  const CheckBudget budget(1, Clock::now(), m_observer);
  EXPECT_EQ(&budget.GetObserver(), &m_observer);
}

// The waits.

TEST_F(CheckBudgetTest, AWaitEndsWhenThereIsSomethingToRead) {
  const Pair pair;
  const CheckBudget budget = Until(std::chrono::minutes(1));
  pair.Write();
  EXPECT_EQ(WaitBetween(milliseconds(0), budget, pair.One(), 5000), Wait::kReadable);
  const CheckBudget late = Until(milliseconds(0));
  EXPECT_EQ(WaitBetween(milliseconds(0), late, pair.One(), 5000), Wait::kReadable);
}

TEST_F(CheckBudgetTest, AWaitEndsWithItsTimeout) {
  const Pair pair;
  const CheckBudget budget = Until(std::chrono::minutes(1));
  EXPECT_EQ(WaitBetween(milliseconds(200), budget, pair.One(), 200), Wait::kTimedOut);
  EXPECT_EQ(WaitBetween(milliseconds(0), budget, pair.One(), 0), Wait::kTimedOut);
  const CheckBudget forever(1, Clock::time_point::max(), m_observer);
  EXPECT_EQ(WaitBetween(milliseconds(20), forever, pair.One(), 20), Wait::kTimedOut);
}

TEST_F(CheckBudgetTest, AWaitEndsWithTheDeadline) {
  const Pair pair;
  const CheckBudget budget = Until(milliseconds(200));
  EXPECT_EQ(WaitBetween(milliseconds(190), budget, pair.One(), 5000), Wait::kDeadline);
  EXPECT_EQ(WaitBetween(milliseconds(0), budget, pair.One(), 5000), Wait::kDeadline);
}

namespace {

void DoNothing(int /*signal*/) {}

}  // namespace

TEST_F(CheckBudgetTest, SignalsDoNotMakeAWaitLonger) {
  struct sigaction action {};
  action.sa_handler = DoNothing;
  ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
  const Pair pair;
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
  const Pair answers;
  Pair client;
  CheckBudget budget = Until(std::chrono::minutes(1));
  budget.EndWithHangUpOf(client.One());
  EXPECT_EQ(WaitBetween(milliseconds(50), budget, answers.One(), 50), Wait::kTimedOut);
  client.Write();  // what the peer says does not matter
  EXPECT_EQ(WaitBetween(milliseconds(50), budget, answers.One(), 50), Wait::kTimedOut);
  std::thread hangUp([&] {
    std::this_thread::sleep_for(milliseconds(200));
    client.CloseOther();
  });
  EXPECT_EQ(WaitBetween(milliseconds(150), budget, answers.One(), 5000), Wait::kHangUp);
  hangUp.join();
  EXPECT_EQ(WaitBetween(milliseconds(0), budget, answers.One(), 5000), Wait::kHangUp);
}

TEST_F(CheckBudgetTest, AnAnswerCountsBeforeAHangUp) {
  const Pair answers;
  Pair client;
  CheckBudget budget = Until(std::chrono::minutes(1));
  budget.EndWithHangUpOf(client.One());
  client.CloseOther();
  answers.Write();
  EXPECT_EQ(budget.WaitToRead(answers.One(), 5000), Wait::kReadable);
}
