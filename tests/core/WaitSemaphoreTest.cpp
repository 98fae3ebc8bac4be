#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/time.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <future>
#include <limits>
#include <memory>
#include <optional>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "framework/core/Interlocked.h"
#include "framework/core/WaitSemaphore.h"
#include "tests/core/FailingPthread.h"
#include "tests/support/Waiting.h"

namespace {

using namespace std::chrono_literals;

constexpr int kMinute = 60000;  // ms; no fraction of a second, so the deadline is always valid

std::future<int> StartWaiting(WaitSemaphore& semaphore) {
  return std::async(std::launch::async, [&semaphore] { return semaphore.Wait(); });
}

std::future<bool> StartTimedWaiting(WaitSemaphore& semaphore) {
  return std::async(std::launch::async, [&semaphore] { return semaphore.TimedWait(kMinute); });
}

void AwaitWaiters(WaitSemaphore& semaphore, std::int32_t count) {
  if (!ComesTrue([&] { return semaphore.GetWaiterCount() == count; })) {
    std::abort();  // the destructors of futures would wait for the waiters without limit
  }
}

std::array<std::future<int>, 3> StartThreeWaiters(WaitSemaphore& semaphore) {
  std::array<std::future<int>, 3> waiters;
  for (std::future<int>& waiter : waiters) {
    waiter = StartWaiting(semaphore);
  }
  AwaitWaiters(semaphore, 3);
  return waiters;
}

TEST(WaitSemaphoreTest, ItCannotBeCopiedOrMovedAndHasAVirtualDestructor) {
  using Semaphore = WaitSemaphore;
  EXPECT_FALSE(std::is_copy_constructible_v<Semaphore> || std::is_move_constructible_v<Semaphore>);
  EXPECT_FALSE(std::is_copy_assignable_v<Semaphore> || std::is_move_assignable_v<Semaphore>);
  EXPECT_TRUE(std::has_virtual_destructor_v<Semaphore>);
}

TEST(WaitSemaphoreTest, TheCountStartsAtZeroAndEachPostEndsOneWait) {
  WaitSemaphore semaphore;
  EXPECT_FALSE(semaphore.TimedWait(0));
  EXPECT_TRUE(semaphore.Post());
  EXPECT_TRUE(semaphore.Post());
  EXPECT_EQ(semaphore.Wait(), 0);
  EXPECT_TRUE(semaphore.TimedWait(kMinute));
  EXPECT_FALSE(semaphore.TimedWait(0));
}

TEST(WaitSemaphoreTest, AWaitBlocksUntilAPost) {
  WaitSemaphore semaphore;
  std::future<int> waiter = StartWaiting(semaphore);
  EXPECT_TRUE(StillBlocks(waiter));
  semaphore.Post();
  EXPECT_EQ(ResultOf(waiter), 0);
  std::future<bool> timed = StartTimedWaiting(semaphore);
  EXPECT_TRUE(StillBlocks(timed));
  semaphore.Post();
  EXPECT_TRUE(ResultOf(timed));
}

TEST(WaitSemaphoreTest, ItIsNotSharedBetweenProcesses) {
  const WaitSemaphore semaphore;
  EXPECT_EQ(LastSemaphore().shared, 0);
  EXPECT_EQ(LastSemaphore().value, 0U);
}

TEST(WaitSemaphoreTest, AFailedInitialisationIsIgnored) {
  const FailureOf failure("sem_init", ENOSYS);
  EXPECT_NO_THROW(const WaitSemaphore semaphore);
}

TEST(WaitSemaphoreTest, ThreadsThatWaitAreCounted) {
  WaitSemaphore semaphore;
  EXPECT_EQ(semaphore.GetWaiterCount(), 0);
  std::array<std::future<int>, 3> waiters = StartThreeWaiters(semaphore);
  std::future<bool> timed = StartTimedWaiting(semaphore);
  AwaitWaiters(semaphore, 4);
  for (const std::int32_t left : {3, 2, 1, 0}) {
    semaphore.Post();
    AwaitWaiters(semaphore, left);
  }
  for (std::future<int>& waiter : waiters) {
    EXPECT_EQ(ResultOf(waiter), 0);
  }
  EXPECT_TRUE(ResultOf(timed));
}

TEST(WaitSemaphoreTest, AThreadWhoseWaitIsOverIsNotCounted) {
  WaitSemaphore semaphore;
  semaphore.Post();
  semaphore.Wait();
  EXPECT_EQ(semaphore.GetWaiterCount(), 0);
  semaphore.TimedWait(0);
  EXPECT_EQ(semaphore.GetWaiterCount(), 0);
}

TEST(InterlockedTest, ItBlocksTheCountingOfEverySemaphoreWhichHoldsNoOtherLockMeanwhile) {
  std::array<WaitSemaphore, 2> semaphores;
  std::optional<Mutex> counting(std::in_place, Interlocked::m_mtx, true);
  std::array<std::future<int>, 2> waiters{StartWaiting(semaphores[0]),
                                          std::async(std::launch::async, [&semaphores] {
                                            return semaphores[1].TimedWait(kMinute) ? 0 : -1;
                                          })};
  const auto expectHeldUp = [&](std::size_t i, std::int32_t counted) {
    EXPECT_TRUE(StillBlocks(waiters[i]));
    std::future<std::int32_t> count =
        std::async(std::launch::async, [&, i] { return semaphores[i].GetWaiterCount(); });
    EXPECT_EQ(ResultOf(count), counted);
  };
  for (std::size_t i = 0; i < 2; ++i) {
    expectHeldUp(i, 0);
  }
  counting.reset();
  for (WaitSemaphore& semaphore : semaphores) {
    AwaitWaiters(semaphore, 1);
  }
  counting.emplace(Interlocked::m_mtx, true);
  for (std::size_t i = 0; i < 2; ++i) {
    semaphores[i].Post();
    expectHeldUp(i, 1);
  }
  counting.reset();
  for (std::future<int>& waiter : waiters) {
    EXPECT_EQ(ResultOf(waiter), 0);
  }
}

TEST(InterlockedTest, ItHasNoObjects) {
  EXPECT_FALSE(std::is_constructible_v<Interlocked>);
}

TEST(InterlockedTest, ItIsRecursive) {
  const Mutex first(Interlocked::m_mtx, true);
  EXPECT_NO_THROW(const Mutex second(Interlocked::m_mtx, true));
}

TEST(WaitSemaphoreTest, ShutdownPostsAndYieldsUntilEveryWaiterHasReturnedZero) {
  WaitSemaphore semaphore;
  std::array<std::future<int>, 3> waiters = StartThreeWaiters(semaphore);
  const Strings calls = CallsOf([&] { semaphore.Shutdown(); });
  EXPECT_EQ(semaphore.GetWaiterCount(), 0);
  ASSERT_GE(calls.size(), 3U);
  for (std::size_t i = 0; i + 1 < calls.size(); ++i) {
    EXPECT_EQ(calls[i], i % 2 == 0 ? "sem_post" : "sched_yield");
  }
  EXPECT_EQ(calls.size() % 2, 1U);
  EXPECT_EQ(calls.back(), "sem_destroy");
  for (std::future<int>& waiter : waiters) {
    EXPECT_EQ(ResultOf(waiter), 0);
  }
}

TEST(WaitSemaphoreTest, WaitersThatShutdownReleasesReturnAfterItAndATimedOneReturnsTrue) {
  WaitSemaphore semaphore;
  std::future<int> waiter = StartWaiting(semaphore);
  std::future<bool> timed = StartTimedWaiting(semaphore);
  AwaitWaiters(semaphore, 2);
  bool wereHeldUp = false;
  const BeforeCall check(1, "sem_destroy",
                         [&] { wereHeldUp = StillBlocks(waiter) && StillBlocks(timed); });
  semaphore.Shutdown();
  EXPECT_TRUE(wereHeldUp);
  EXPECT_EQ(ResultOf(waiter), 0);
  EXPECT_TRUE(ResultOf(timed));
}

TEST(WaitSemaphoreTest, AWaitThatBeginsDuringAShutdownBlocksUntilItsEnd) {
  WaitSemaphore semaphore;
  std::future<int> waiter;
  std::future<bool> timed;
  std::future<std::int32_t> count;
  bool wereHeldUp = false;
  const BeforeCall come(1, "sem_destroy", [&] {
    waiter = StartWaiting(semaphore);
    timed = StartTimedWaiting(semaphore);
    count = std::async(std::launch::async, [&] { return semaphore.GetWaiterCount(); });
    wereHeldUp = StillBlocks(waiter) && StillBlocks(timed) && StillBlocks(count);
  });
  semaphore.Shutdown();
  EXPECT_TRUE(wereHeldUp);
  EXPECT_EQ(ResultOf(waiter), 0);
  EXPECT_FALSE(ResultOf(timed));
  EXPECT_EQ(ResultOf(count), 0);
}

TEST(WaitSemaphoreTest, ShutdownMayRunTwiceBeforeTheDestructor) {
  std::optional<WaitSemaphore> semaphore(std::in_place);
  EXPECT_EQ(CallsOf([&] { semaphore->Shutdown(); }), Strings{"sem_destroy"});
  EXPECT_NO_THROW(EXPECT_EQ(CallsOf([&] { semaphore->Shutdown(); }), Strings{"sem_destroy"}));
  EXPECT_EQ(CallsOf([&] { semaphore.reset(); }),
            (Strings{"sem_destroy", "pthread_mutex_destroy", "pthread_mutexattr_destroy"}));
}

TEST(WaitSemaphoreTest, AWaitAfterShutdownReturnsAtOnceAndDoesNotTouchTheSemaphore) {
  WaitSemaphore semaphore;
  semaphore.Post();
  semaphore.Shutdown();
  EXPECT_EQ(CallsOf([&] { EXPECT_EQ(semaphore.Wait(), 0); }), Strings{});
  EXPECT_EQ(CallsOf([&] { EXPECT_FALSE(semaphore.TimedWait(kMinute)); }), Strings{});
  EXPECT_EQ(semaphore.GetWaiterCount(), 0);
}

TEST(WaitSemaphoreTest, AWaitAfterShutdownIsNotCounted) {
  WaitSemaphore semaphore;
  semaphore.Shutdown();
  const Mutex counting(Interlocked::m_mtx, true);
  std::future<int> waiter = StartWaiting(semaphore);
  std::future<bool> timed = StartTimedWaiting(semaphore);
  EXPECT_EQ(ResultOf(waiter), 0);
  EXPECT_FALSE(ResultOf(timed));
}

TEST(WaitSemaphoreTest, APostAfterShutdownStillPosts) {
  WaitSemaphore semaphore;
  semaphore.Shutdown();
  const FailureOf failure("sem_post", EINVAL);
  EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(semaphore.Post()); }), Strings{"sem_post"});
}

TEST(WaitSemaphoreTest, AFailureToDestroyItsLockIsThrownByTheDestructor) {
  const FailureOf failure("pthread_mutex_destroy", EBUSY);
  ExpectThrown([] { const WaitSemaphore semaphore; }, "pthread_mutex_destroy returned 16", 16);
}

TEST(WaitSemaphoreTest, AWaitAfterDestructionHasBegunReturnsAtOnce) {
  std::future<void> end = std::async(std::launch::async, [] {
    auto semaphore = std::make_unique<WaitSemaphore>();
    bool hasWaited = false;
    const BeforeCall wait(1, "sem_destroy", [&, &dying = *semaphore] {
      EXPECT_EQ(dying.Wait(), 0);
      EXPECT_FALSE(dying.TimedWait(kMinute));
      hasWaited = true;
    });
    semaphore.reset();
    EXPECT_TRUE(hasWaited);
  });
  ResultOf(end);
}

TEST(WaitSemaphoreTest, AShutdownJustBeforeAWaiterIsCountedReleasesIt) {
  std::future<void> end = std::async(std::launch::async, [] {
    WaitSemaphore semaphore;
    const BeforeCall shutdown(2, "pthread_mutex_lock", [&] { semaphore.Shutdown(); });
    EXPECT_EQ(CallsOf([&] { EXPECT_EQ(semaphore.Wait(), 0); }), Strings{"sem_destroy"});
    EXPECT_EQ(semaphore.GetWaiterCount(), 0);
  });
  ResultOf(end);
}

TEST(WaitSemaphoreTest, AShutdownJustBeforeATimedWaiterIsCountedReleasesIt) {
  std::future<void> end = std::async(std::launch::async, [] {
    WaitSemaphore semaphore;
    const BeforeCall shutdown(2, "pthread_mutex_lock", [&] { semaphore.Shutdown(); });
    EXPECT_EQ(CallsOf([&] { EXPECT_FALSE(semaphore.TimedWait(kMinute)); }), Strings{"sem_destroy"});
    EXPECT_EQ(semaphore.GetWaiterCount(), 0);
  });
  ResultOf(end);
}

TEST(WaitSemaphoreTest, DestructionWaitsForAWaiterThatIsNotCountedYet) {
  auto semaphore = std::make_unique<WaitSemaphore>();
  WaitSemaphore& dying = *semaphore;
  std::promise<void> waiterIsInside;
  std::promise<void> destructionHasBegun;
  std::atomic<bool> isDestroyed{false};
  bool wasDestroyedTooEarly = true;

  std::future<int> waiter = std::async(std::launch::async, [&] {
    const BeforeCall pause(2, "pthread_mutex_lock", [&] {
      waiterIsInside.set_value();
      destructionHasBegun.get_future().wait();
      std::this_thread::sleep_for(20ms);
      wasDestroyedTooEarly = isDestroyed;
    });
    return dying.Wait();
  });
  waiterIsInside.get_future().wait();
  std::future<void> destruction = std::async(std::launch::async, [&] {
    const BeforeCall begun(1, "sem_destroy", [&] { destructionHasBegun.set_value(); });
    semaphore.reset();
    isDestroyed = true;
  });
  EXPECT_EQ(ResultOf(waiter), 0);
  EXPECT_FALSE(wasDestroyedTooEarly);
  ResultOf(destruction);
}

TEST(WaitSemaphoreTest, ItMayBeDestroyedWhileThreadsWait) {
  for (int round = 0; round < 100; ++round) {
    auto semaphore = std::make_unique<WaitSemaphore>();
    WaitSemaphore& dying = *semaphore;
    std::atomic<int> inside{0};
    std::vector<std::future<int>> waiters;
    for (int i = 0; i < 3; ++i) {
      waiters.push_back(std::async(std::launch::async, [&dying, &inside, round, i] {
        const BeforeCall entered(1, "pthread_mutex_lock", [&] { ++inside; });
        return (round + i) % 2 == 0 ? dying.Wait() : (dying.TimedWait(kMinute), 0);
      }));
    }
    while (inside != 3) {
      std::this_thread::yield();
    }
    semaphore.reset();
    for (std::future<int>& waiter : waiters) {
      EXPECT_EQ(ResultOf(waiter), 0);
    }
  }
}

TEST(WaitSemaphoreTest, AnInterruptedWaitGoesOn) {
  WaitSemaphore semaphore;
  semaphore.Post();
  semaphore.Post();
  {
    const FailureOf failure("sem_wait", EINTR, 2);
    EXPECT_EQ(CallsOf([&] { EXPECT_EQ(semaphore.Wait(), 0); }),
              (Strings{"sem_wait", "sem_wait", "sem_wait"}));
  }
  const FailureOf failure("sem_timedwait", EINTR, 2);
  EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(semaphore.TimedWait(kMinute)); }),
            (Strings{"sem_timedwait", "sem_timedwait", "sem_timedwait"}));
}

TEST(WaitSemaphoreTest, AnInterruptedTimedWaitKeepsItsDeadline) {
  WaitSemaphore semaphore;
  std::optional<TimeOfDay> time(std::in_place, 1000, 0);
  const FailureOf failure("sem_timedwait", EINTR, 1);
  const BeforeCall later(1, "sem_timedwait", [&] { time.emplace(2000, 0); });
  EXPECT_FALSE(semaphore.TimedWait(3000));
  EXPECT_EQ(LastDeadline().tv_sec, 1003);
}

TEST(WaitSemaphoreTest, TheDeadlineOfATimedWaitIsSetBeforeItIsCounted) {
  WaitSemaphore semaphore;
  std::optional<TimeOfDay> time(std::in_place, 1000, 0);
  const FailureOf failure("sem_timedwait", ETIMEDOUT);
  const BeforeCall later(2, "pthread_mutex_lock", [&] { time.emplace(2000, 0); });
  EXPECT_FALSE(semaphore.TimedWait(3000));
  EXPECT_EQ(LastDeadline().tv_sec, 1003);
  timeval now{};
  gettimeofday(&now, nullptr);
  EXPECT_EQ(now.tv_sec, 2000);
}

TEST(WaitSemaphoreTest, AnInterruptionDuringAShutdownEndsTheWait) {
  WaitSemaphore semaphore;
  std::future<int> waiter = std::async(std::launch::async, [&] {
    const FailureOf failure("sem_wait", EINTR);
    return semaphore.Wait();
  });
  std::future<bool> timed = std::async(std::launch::async, [&] {
    const FailureOf failure("sem_timedwait", EINTR);
    return semaphore.TimedWait(kMinute);
  });
  AwaitWaiters(semaphore, 2);
  semaphore.Shutdown();
  EXPECT_EQ(ResultOf(waiter), -1);
  EXPECT_FALSE(ResultOf(timed));
}

TEST(WaitSemaphoreTest, AnyOtherFailureEndsTheWaitAtOnce) {
  WaitSemaphore semaphore;
  {
    const FailureOf failure("sem_wait", EINVAL);
    EXPECT_EQ(CallsOf([&] { EXPECT_EQ(semaphore.Wait(), -1); }), Strings{"sem_wait"});
  }
  for (const int code : {ETIMEDOUT, EINVAL, EDEADLK}) {
    const FailureOf failure("sem_timedwait", code);
    EXPECT_EQ(CallsOf([&] { EXPECT_FALSE(semaphore.TimedWait(kMinute)) << code; }),
              Strings{"sem_timedwait"});
  }
  EXPECT_EQ(semaphore.GetWaiterCount(), 0);
}

struct DeadlineCase {
  suseconds_t microseconds;  // of the time of day 1000 s
  int milliseconds;
  std::time_t seconds;
  long nanoseconds;
};

TEST(WaitSemaphoreTest, TheDeadlineIsNotCarriedFromNanosecondsIntoSeconds) {
  WaitSemaphore semaphore;
  const FailureOf failure("sem_timedwait", ETIMEDOUT);
  for (const DeadlineCase& row : {DeadlineCase{0, 0, 1000, 0},
                                  {0, 999, 1000, 999000000},
                                  {0, 1000, 1001, 0},
                                  {250000, 1500, 1001, 750000000},
                                  {499999, 1500, 1001, 999999000},
                                  {500000, 1500, 1001, 1000000000},
                                  {500001, 1500, 1001, 1000001000},
                                  {999999, 999, 1000, 1998999000},
                                  {999999, 1, 1000, 1000999000},
                                  {999999, 5000, 1005, 999999000},
                                  {600000, -1500, 999, 100000000},
                                  {0, std::numeric_limits<int>::max(), 2148483, 647000000}}) {
    const TimeOfDay time(1000, row.microseconds);
    EXPECT_FALSE(semaphore.TimedWait(row.milliseconds));
    EXPECT_EQ(LastDeadline().tv_sec, row.seconds) << row.microseconds << ' ' << row.milliseconds;
    EXPECT_EQ(LastDeadline().tv_nsec, row.nanoseconds)
        << row.microseconds << ' ' << row.milliseconds;
  }
}

TEST(WaitSemaphoreTest, ATimedWaitOf1500StartedAfterHalfASecondReturnsFalseAtOnceAndTakesNothing) {
  WaitSemaphore semaphore;
  const auto start = std::chrono::steady_clock::now();
  for (int posts = 0; posts < 2; ++posts) {
    const TimeOfDay ahead(std::time(nullptr) + 1000, 500000);
    EXPECT_FALSE(semaphore.TimedWait(1500));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 60s);
    semaphore.Post();
  }
  EXPECT_TRUE(semaphore.TimedWait(kMinute));
  EXPECT_TRUE(semaphore.TimedWait(kMinute));
}

TEST(WaitSemaphoreTest, ATimedWaitStartedBeforeHalfASecondBlocks) {
  WaitSemaphore semaphore;
  std::future<bool> waiter = std::async(std::launch::async, [&] {
    const TimeOfDay ahead(std::time(nullptr) + 1000, 499999);
    return semaphore.TimedWait(1500);
  });
  EXPECT_TRUE(StillBlocks(waiter));
  semaphore.Post();
  EXPECT_TRUE(ResultOf(waiter));
}

TEST(WaitSemaphoreTest, ATimedWaitEndsAtItsDeadline) {
  WaitSemaphore semaphore;
  timeval now{};
  gettimeofday(&now, nullptr);
  if (now.tv_usec >= 970000) {
    now = {.tv_sec = now.tv_sec + 1, .tv_usec = 0};
  }
  {
    const TimeOfDay time(now.tv_sec, now.tv_usec);
    EXPECT_FALSE(semaphore.TimedWait(20));
  }
  timespec after{};
  clock_gettime(CLOCK_REALTIME, &after);
  EXPECT_GE(std::make_pair(after.tv_sec, after.tv_nsec),
            std::make_pair(now.tv_sec, (now.tv_usec + 20000) * 1000));
}

}  // namespace
