#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "framework/core/Locks.h"
#include "tests/core/FailingPthread.h"

namespace {

using namespace std::chrono_literals;

// Cannot be copied or moved, is destroyed through its base, and its destructor throws.
template <typename Lock>
constexpr bool kIsLock =
    !std::is_copy_constructible_v<Lock> && !std::is_copy_assignable_v<Lock> &&
    !std::is_move_constructible_v<Lock> && !std::is_move_assignable_v<Lock> &&
    std::has_virtual_destructor_v<Lock> && !noexcept(std::declval<Lock&>().~Lock());

static_assert(PTHREAD_MUTEX_RECURSIVE == 1);

// A thread that takes something and gives it back at once.
class Contender {
 public:
  explicit Contender(const std::function<void()>& take)
      : m_through(std::async(std::launch::async, [this, take] {
          m_started.set_value();
          take();
        })) {
    m_started.get_future().wait();
  }

  bool IsHeldUp() { return m_through.wait_for(100ms) == std::future_status::timeout; }

  bool GetsThrough() {
    if (m_through.wait_for(20s) != std::future_status::ready) {
      std::abort();  // its thread would be waited for without limit
    }
    return true;
  }

 private:
  std::promise<void> m_started;
  std::future<void> m_through;
};

// Runs count on several threads at once and returns what it made of a plain number.
int CountOnThreads(const std::function<void(int&)>& count) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 5000;
  int number = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < kRounds; ++round) {
        count(number);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  return number;
}

TEST(LocksTest, LocksAndGuardsAreNeitherCopiedNorMovedAndAreDestroyedThroughTheirBases) {
  EXPECT_TRUE(kIsLock<MutexInstance>);
  EXPECT_TRUE(kIsLock<Mutex>);
  EXPECT_TRUE(kIsLock<MutexReadWriteInstance>);
  EXPECT_TRUE(kIsLock<MutexRead>);
  EXPECT_TRUE(kIsLock<MutexWrite>);
}

// ---- Mutexes

TEST(MutexInstanceTest, ItIsMadeByAttributesTheirTypeAndTheMutexInThisOrder) {
  std::optional<MutexInstance> instance;
  EXPECT_EQ(CallsOf([&] { instance.emplace(PTHREAD_MUTEX_RECURSIVE); }),
            (std::vector<std::string>{"pthread_mutexattr_init", "pthread_mutexattr_settype",
                                      "pthread_mutex_init"}));
}

TEST(MutexInstanceTest, ItDestroysTheMutexAndThenItsAttributes) {
  std::optional<MutexInstance> instance(PTHREAD_MUTEX_RECURSIVE);
  EXPECT_EQ(CallsOf([&] { instance.reset(); }),
            (std::vector<std::string>{"pthread_mutex_destroy", "pthread_mutexattr_destroy"}));
}

TEST(MutexInstanceTest, AFailedAttributeInitialisationIsReportedWithTheStrayM) {
  const FailureOf failure("pthread_mutexattr_init", ENOMEM);
  ExpectThrown([] { const MutexInstance instance(PTHREAD_MUTEX_RECURSIVE); },
               "pthread_mutexm_attr_init returned 12", 12);
  EXPECT_EQ(CallsOf([] { const MutexInstance instance(PTHREAD_MUTEX_RECURSIVE); }),
            std::vector<std::string>{"pthread_mutexattr_init"});
}

TEST(MutexInstanceTest, AWrongTypeIsReported) {
  ExpectThrown([] { const MutexInstance instance(99); }, "pthread_mutexattr_settype returned 22",
               22);
}

TEST(MutexInstanceTest, AFailedMutexInitialisationIsReported) {
  const FailureOf failure("pthread_mutex_init", EAGAIN);
  ExpectThrown([] { const MutexInstance instance(PTHREAD_MUTEX_RECURSIVE); },
               "pthread_mutex_init returned 11", 11);
}

TEST(MutexInstanceTest, DestroyingALockedMutexThrowsOutOfTheDestructor) {
  ExpectThrown(
      [] {
        MutexInstance instance(PTHREAD_MUTEX_RECURSIVE);
        Mutex(instance, false).Lock();
      },
      "pthread_mutex_destroy returned 16", 16);
}

TEST(MutexInstanceTest, AFailedAttributeDestructionThrowsOutOfTheDestructor) {
  const FailureOf failure("pthread_mutexattr_destroy", EINVAL);
  ExpectThrown([] { const MutexInstance instance(PTHREAD_MUTEX_RECURSIVE); },
               "pthread_mutexattr_destroy returned 22", 22);
}

TEST(MutexTest, OneThreadLocksTwiceAndTwoUnlocksRelease) {
  MutexInstance instance(PTHREAD_MUTEX_RECURSIVE);
  Mutex mutex(instance, false);
  mutex.Lock();
  mutex.Lock();
  Contender contender([&] { const Mutex other(instance, true); });
  EXPECT_TRUE(contender.IsHeldUp());
  mutex.Unlock();
  EXPECT_TRUE(contender.IsHeldUp());
  mutex.Unlock();
  EXPECT_TRUE(contender.GetsThrough());
}

TEST(MutexTest, GuardsOfOneThreadNest) {
  MutexInstance instance(PTHREAD_MUTEX_RECURSIVE);
  const Mutex outer(instance, true);
  EXPECT_NO_THROW(const Mutex inner(instance, true));
  Contender contender([&] { const Mutex other(instance, true); });
  EXPECT_TRUE(contender.IsHeldUp());
  Mutex(instance, false).Unlock();
  EXPECT_TRUE(contender.GetsThrough());
  Mutex(instance, false).Lock();
}

TEST(MutexTest, TheTypeIsTheOneAskedFor) {
  MutexInstance instance(PTHREAD_MUTEX_ERRORCHECK);
  Mutex mutex(instance, true);
  ExpectThrown([&] { mutex.Lock(); }, "pthread_mutex_lock returned 35", 35);
}

TEST(MutexTest, AGuardMadeLockedHoldsTheMutexUntilItDies) {
  MutexInstance instance(PTHREAD_MUTEX_RECURSIVE);
  std::function<void()> take = [&] { const Mutex other(instance, true); };
  std::unique_ptr<Contender> contender;
  {
    const Mutex mutex(instance, true);
    contender = std::make_unique<Contender>(take);
    EXPECT_TRUE(contender->IsHeldUp());
  }
  EXPECT_TRUE(contender->GetsThrough());
}

TEST(MutexTest, AGuardMadeUnlockedAndNeverLockedDoesNothing) {
  MutexInstance instance(PTHREAD_MUTEX_RECURSIVE);
  EXPECT_NO_THROW({
    const Mutex mutex(instance, false);
    Contender contender([&] { const Mutex other(instance, true); });
    EXPECT_TRUE(contender.GetsThrough());
  });
}

TEST(MutexTest, AGuardMadeUnlockedLeavesWhatWasLockedLater) {
  MutexInstance instance(PTHREAD_MUTEX_RECURSIVE);
  {
    Mutex mutex(instance, false);
    mutex.Lock();
  }
  Contender contender([&] { const Mutex other(instance, true); });
  EXPECT_TRUE(contender.IsHeldUp());
  Mutex(instance, false).Unlock();
  EXPECT_TRUE(contender.GetsThrough());
}

TEST(MutexTest, AGuardMadeLockedThrowsWhenItNoLongerHoldsTheMutex) {
  MutexInstance instance(PTHREAD_MUTEX_RECURSIVE);
  ExpectThrown(
      [&] {
        Mutex mutex(instance, true);
        mutex.Unlock();
      },
      "pthread_mutex_unlock returned 1", 1);
}

TEST(MutexTest, AGuardMadeLockedMayBeUnlockedAndLockedAgain) {
  MutexInstance instance(PTHREAD_MUTEX_RECURSIVE);
  EXPECT_NO_THROW({
    Mutex mutex(instance, true);
    mutex.Unlock();
    mutex.Lock();
  });
}

TEST(MutexTest, UnlockingWhatIsNotHeldThrows) {
  MutexInstance instance(PTHREAD_MUTEX_RECURSIVE);
  Mutex mutex(instance, false);
  ExpectThrown([&] { mutex.Unlock(); }, "pthread_mutex_unlock returned 1", 1);
}

TEST(MutexTest, UnlockingWhatAnotherThreadHoldsThrows) {
  MutexInstance instance(PTHREAD_MUTEX_RECURSIVE);
  const Mutex held(instance, true);
  std::thread([&] {
    ExpectThrown([&] { Mutex(instance, false).Unlock(); }, "pthread_mutex_unlock returned 1", 1);
  }).join();
}

TEST(MutexTest, AConstructorThatThrowsLeavesNothingLocked) {
  MutexInstance instance(PTHREAD_MUTEX_ERRORCHECK);
  {
    const Mutex first(instance, true);
    ExpectThrown([&] { const Mutex second(instance, true); }, "pthread_mutex_lock returned 35", 35);
  }
  Contender contender([&] { const Mutex other(instance, true); });
  EXPECT_TRUE(contender.GetsThrough());
}

TEST(MutexTest, AFailedLockIsNotTriedAgain) {
  MutexInstance instance(PTHREAD_MUTEX_RECURSIVE);
  const FailureOf failure("pthread_mutex_lock", EAGAIN, 1);
  ExpectThrown([&] { const Mutex mutex(instance, true); }, "pthread_mutex_lock returned 11", 11);
}

TEST(MutexTest, OneThreadAtATimeHoldsTheMutex) {
  MutexInstance instance(PTHREAD_MUTEX_RECURSIVE);
  EXPECT_EQ(CountOnThreads([&](int& number) {
              const Mutex mutex(instance, true);
              ++number;
            }),
            20000);
}

void FailToUnlockWhileUnwinding() {
  MutexInstance instance(PTHREAD_MUTEX_RECURSIVE);
  Mutex mutex(instance, true);
  mutex.Unlock();
  throw std::runtime_error("unwinds");
}

// Nobody catches what is thrown behind the end of main.
[[noreturn]] void ExitWithALockedStatic() noexcept {
  static MutexInstance instance(PTHREAD_MUTEX_RECURSIVE);
  Mutex(instance, false).Lock();
  std::exit(0);
}

TEST(LocksDeathTest, AFailureWhileUnwindingOrAtTheEndOfTheProcessEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(FailToUnlockWhileUnwinding(), testing::KilledBySignal(SIGABRT), "");
  EXPECT_EXIT(ExitWithALockedStatic(), testing::KilledBySignal(SIGABRT), "");
}

// ---- Read/write locks

TEST(MutexReadWriteInstanceTest, ItInitialisesAndDestroysItsLock) {
  EXPECT_EQ(CallsOf([] { const MutexReadWriteInstance instance; }),
            (std::vector<std::string>{"pthread_rwlock_init", "pthread_rwlock_destroy"}));
}

TEST(MutexReadWriteInstanceTest, ItHasTheDefaultAttributes) {
  const MutexReadWriteInstance instance;
  EXPECT_FALSE(LastReadWriteLockHadAttributes());
}

TEST(MutexReadWriteInstanceTest, AFailedInitialisationIsReported) {
  const FailureOf failure("pthread_rwlock_init", ENOMEM);
  ExpectThrown([] { const MutexReadWriteInstance instance; }, "pthread_rwlock_init returned 12",
               12);
}

TEST(MutexReadWriteInstanceTest, AFailedDestructionThrowsOutOfTheDestructor) {
  const FailureOf failure("pthread_rwlock_destroy", EBUSY);
  ExpectThrown([] { const MutexReadWriteInstance instance; }, "pthread_rwlock_destroy returned 16",
               16);
}

TEST(MutexReadTest, ItTakesTheReadLockAndUnlocks) {
  MutexReadWriteInstance instance;
  EXPECT_EQ(CallsOf([&] { const MutexRead guard(instance); }),
            (std::vector<std::string>{"pthread_rwlock_rdlock", "pthread_rwlock_unlock"}));
}

TEST(MutexReadTest, ReadersDoNotBlockEachOther) {
  MutexReadWriteInstance instance;
  const MutexRead first(instance);
  EXPECT_NO_THROW(const MutexRead again(instance));
  Contender reader([&] { const MutexRead other(instance); });
  EXPECT_TRUE(reader.GetsThrough());
}

TEST(MutexReadTest, AReaderHoldsUpAWriterUntilItDies) {
  MutexReadWriteInstance instance;
  std::unique_ptr<Contender> writer;
  {
    const MutexRead guard(instance);
    writer = std::make_unique<Contender>([&] { const MutexWrite other(instance); });
    EXPECT_TRUE(writer->IsHeldUp());
  }
  EXPECT_TRUE(writer->GetsThrough());
}

TEST(MutexReadTest, ReadingWhileTheSameThreadWritesThrowsAndLeavesNothingLocked) {
  MutexReadWriteInstance instance;
  {
    const MutexWrite writing(instance);
    ExpectThrown([&] { const MutexRead guard(instance); }, "pthread_rwlock_rdlock returned 35", 35);
  }
  Contender writer([&] { const MutexWrite other(instance); });
  EXPECT_TRUE(writer.GetsThrough());
}

TEST(MutexReadTest, AFailedUnlockThrowsOutOfTheDestructor) {
  MutexReadWriteInstance instance;
  const FailureOf failure("pthread_rwlock_unlock", EPERM);
  ExpectThrown([&] { const MutexRead guard(instance); }, "pthread_rwlock_unlock returned 1", 1);
}

TEST(MutexWriteTest, ItTakesTheWriteLockAndUnlocks) {
  MutexReadWriteInstance instance;
  EXPECT_EQ(CallsOf([&] { const MutexWrite guard(instance); }),
            (std::vector<std::string>{"pthread_rwlock_wrlock", "pthread_rwlock_unlock"}));
}

TEST(MutexWriteTest, AWriterHoldsUpReadersAndWritersUntilItDies) {
  MutexReadWriteInstance instance;
  std::unique_ptr<Contender> reader;
  std::unique_ptr<Contender> writer;
  {
    const MutexWrite guard(instance);
    reader = std::make_unique<Contender>([&] { const MutexRead other(instance); });
    writer = std::make_unique<Contender>([&] { const MutexWrite other(instance); });
    EXPECT_TRUE(reader->IsHeldUp());
    EXPECT_TRUE(writer->IsHeldUp());
  }
  EXPECT_TRUE(reader->GetsThrough());
  EXPECT_TRUE(writer->GetsThrough());
}

TEST(MutexWriteTest, WritingTwiceOnOneThreadThrowsAndLeavesNothingMoreLocked) {
  MutexReadWriteInstance instance;
  {
    const MutexWrite writing(instance);
    ExpectThrown([&] { const MutexWrite guard(instance); }, "pthread_rwlock_wrlock returned 35",
                 35);
  }
  Contender writer([&] { const MutexWrite other(instance); });
  EXPECT_TRUE(writer.GetsThrough());
}

TEST(MutexWriteTest, ADeadlockThatTheSystemReportsIsThrown) {
  MutexReadWriteInstance instance;
  const MutexRead reading(instance);
  const FailureOf failure("pthread_rwlock_wrlock", EDEADLK);
  ExpectThrown([&] { const MutexWrite guard(instance); }, "pthread_rwlock_wrlock returned 35", 35);
}

TEST(MutexWriteTest, AFailedLockIsNotTriedAgain) {
  MutexReadWriteInstance instance;
  {
    const FailureOf failure("pthread_rwlock_rdlock", EAGAIN, 1);
    EXPECT_EQ(CallsOf([&] { const MutexRead guard(instance); }),
              std::vector<std::string>{"pthread_rwlock_rdlock"});
  }
  const FailureOf failure("pthread_rwlock_wrlock", EDEADLK, 1);
  EXPECT_EQ(CallsOf([&] { const MutexWrite guard(instance); }),
            std::vector<std::string>{"pthread_rwlock_wrlock"});
}

TEST(MutexWriteTest, AFailedUnlockThrowsOutOfTheDestructor) {
  MutexReadWriteInstance instance;
  const FailureOf failure("pthread_rwlock_unlock", EPERM);
  ExpectThrown([&] { const MutexWrite guard(instance); }, "pthread_rwlock_unlock returned 1", 1);
}

TEST(MutexWriteTest, OneThreadAtATimeWrites) {
  MutexReadWriteInstance instance;
  EXPECT_EQ(CountOnThreads([&](int& number) {
              const MutexWrite guard(instance);
              ++number;
            }),
            20000);
}

}  // namespace
