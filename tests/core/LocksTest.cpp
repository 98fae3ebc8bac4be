#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <future>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>

#include "framework/core/Locks.h"
#include "tests/core/FailingPthread.h"

namespace {

using namespace std::chrono_literals;

template <typename Lock>
constexpr bool kIsLock =
    !std::is_copy_constructible_v<Lock> && !std::is_copy_assignable_v<Lock> &&
    !std::is_move_constructible_v<Lock> && !std::is_move_assignable_v<Lock> &&
    std::has_virtual_destructor_v<Lock> && !noexcept(std::declval<Lock&>().~Lock());

// Calls `take`, which locks and unlocks, on another thread.
class Contender {
 public:
  explicit Contender(const std::function<void()>& take)
      : m_taken(std::async(std::launch::async, [this, take] {
          m_started.set_value();
          take();
        })) {
    m_started.get_future().wait();
  }

  bool IsHeldUp() { return m_taken.wait_for(100ms) == std::future_status::timeout; }

  bool GetsThrough() {
    if (m_taken.wait_for(20s) != std::future_status::ready) {
      std::abort();  // the destructor would wait for the thread without limit
    }
    return true;
  }

 private:
  std::promise<void> m_started;
  std::future<void> m_taken;
};

TEST(LocksTest, LocksAndGuardsCannotBeCopiedOrMovedAndTheirDestructorsThrow) {
  EXPECT_TRUE(kIsLock<MutexInstance>);
  EXPECT_TRUE(kIsLock<Mutex>);
  EXPECT_TRUE(kIsLock<MutexReadWriteInstance>);
  EXPECT_TRUE(kIsLock<MutexRead>);
  EXPECT_TRUE(kIsLock<MutexWrite>);
}

TEST(MutexInstanceTest, ItInitialisesAttributesTypeAndMutexAndDestroysTheMutexFirst) {
  std::optional<MutexInstance> instance;
  EXPECT_EQ(CallsOf([&] { instance.emplace(PTHREAD_MUTEX_RECURSIVE); }),
            (Strings{"pthread_mutexattr_init", "pthread_mutexattr_settype", "pthread_mutex_init"}));
  EXPECT_EQ(CallsOf([&] { instance.reset(); }),
            (Strings{"pthread_mutex_destroy", "pthread_mutexattr_destroy"}));
}

TEST(MutexInstanceTest, AFailedAttributeInitialisationIsReportedWithTheStrayM) {
  const FailureOf failure("pthread_mutexattr_init", ENOMEM);
  EXPECT_EQ(CallsOf([] {
              ExpectThrown([] { const MutexInstance instance(PTHREAD_MUTEX_RECURSIVE); },
                           "pthread_mutexm_attr_init returned 12", 12);
            }),
            Strings{"pthread_mutexattr_init"});
}

TEST(MutexInstanceTest, AnUnknownTypeIsReported) {
  ExpectThrown([] { const MutexInstance instance(99); }, "pthread_mutexattr_settype returned 22",
               22);
}

TEST(MutexInstanceTest, AFailedInitialisationOrDestructionIsReported) {
  for (const char* function :
       {"pthread_mutex_init", "pthread_mutex_destroy", "pthread_mutexattr_destroy"}) {
    const FailureOf failure(function, EAGAIN);
    ExpectThrown([] { const MutexInstance instance(PTHREAD_MUTEX_RECURSIVE); },
                 std::string(function) + " returned 11", 11);
  }
}

TEST(MutexInstanceTest, DestroyingALockedMutexThrows) {
  ExpectThrown(
      [] {
        MutexInstance instance(PTHREAD_MUTEX_RECURSIVE);
        Mutex(instance, false).Lock();
      },
      "pthread_mutex_destroy returned 16", 16);
}

class MutexTest : public testing::Test {
 protected:
  ~MutexTest() noexcept override = default;

  MutexInstance m_instance{PTHREAD_MUTEX_RECURSIVE};
  const std::function<void()> m_take = [this] { const Mutex other(m_instance, true); };
};

TEST_F(MutexTest, AThreadThatLocksTwiceMustUnlockTwice) {
  Mutex mutex(m_instance, false);
  mutex.Lock();
  mutex.Lock();
  Contender contender(m_take);
  EXPECT_TRUE(contender.IsHeldUp());
  mutex.Unlock();
  EXPECT_TRUE(contender.IsHeldUp());
  mutex.Unlock();
  EXPECT_TRUE(contender.GetsThrough());
}

TEST_F(MutexTest, AGuardMadeLockedHoldsTheMutexUntilItIsDestroyed) {
  std::optional<Mutex> mutex(std::in_place, m_instance, true);
  Contender contender(m_take);
  EXPECT_TRUE(contender.IsHeldUp());
  mutex.reset();
  EXPECT_TRUE(contender.GetsThrough());
}

TEST_F(MutexTest, AGuardMadeUnlockedAndNeverLockedDoesNothing) {
  EXPECT_NO_THROW({
    const Mutex mutex(m_instance, false);
    Contender contender(m_take);
    EXPECT_TRUE(contender.GetsThrough());
  });
}

TEST_F(MutexTest, AGuardMadeUnlockedDoesNotUnlockWhatWasLockedLater) {
  {
    Mutex mutex(m_instance, false);
    mutex.Lock();
  }
  Contender contender(m_take);
  EXPECT_TRUE(contender.IsHeldUp());
  Mutex(m_instance, false).Unlock();
  EXPECT_TRUE(contender.GetsThrough());
}

TEST_F(MutexTest, AGuardMadeLockedThrowsIfItNoLongerHoldsTheMutex) {
  ExpectThrown(
      [this] {
        Mutex mutex(m_instance, true);
        mutex.Unlock();
      },
      "pthread_mutex_unlock returned 1", 1);
}

TEST_F(MutexTest, AGuardMadeLockedMayBeUnlockedAndLockedAgain) {
  EXPECT_NO_THROW({
    Mutex mutex(m_instance, true);
    mutex.Unlock();
    mutex.Lock();
  });
}

TEST_F(MutexTest, UnlockingAMutexThatTheThreadDoesNotHoldThrows) {
  const auto unlock = [this] {
    ExpectThrown([this] { Mutex(m_instance, false).Unlock(); }, "pthread_mutex_unlock returned 1",
                 1);
  };
  unlock();
  const Mutex held(m_instance, true);
  std::thread(unlock).join();
}

TEST_F(MutexTest, AFailedLockIsNotTriedAgain) {
  const FailureOf failure("pthread_mutex_lock", EAGAIN, 1);
  ExpectThrown(m_take, "pthread_mutex_lock returned 11", 11);
}

TEST(MutexTypeTest, AnErrorCheckingMutexRefusesASecondLockAndTheGuardLeavesNothingLocked) {
  MutexInstance instance(PTHREAD_MUTEX_ERRORCHECK);
  {
    const Mutex first(instance, true);
    ExpectThrown([&] { const Mutex second(instance, true); }, "pthread_mutex_lock returned 35", 35);
  }
  Contender contender([&] { const Mutex other(instance, true); });
  EXPECT_TRUE(contender.GetsThrough());
}

void FailToUnlockWhileUnwinding() {
  MutexInstance instance(PTHREAD_MUTEX_RECURSIVE);
  Mutex mutex(instance, true);
  mutex.Unlock();
  throw std::runtime_error("unwinds");
}

// Nothing catches an exception that is thrown after main has returned.
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

TEST(MutexReadWriteInstanceTest, ItInitialisesALockWithDefaultAttributesAndDestroysIt) {
  EXPECT_EQ(CallsOf([] { const MutexReadWriteInstance instance; }),
            (Strings{"pthread_rwlock_init", "pthread_rwlock_destroy"}));
  EXPECT_FALSE(LastReadWriteLockHadAttributes());
}

TEST(MutexReadWriteInstanceTest, AFailedInitialisationOrDestructionIsReported) {
  for (const char* function : {"pthread_rwlock_init", "pthread_rwlock_destroy"}) {
    const FailureOf failure(function, EBUSY);
    ExpectThrown([] { const MutexReadWriteInstance instance; },
                 std::string(function) + " returned 16", 16);
  }
}

class MutexReadWriteTest : public testing::Test {
 protected:
  ~MutexReadWriteTest() noexcept override = default;

  MutexReadWriteInstance m_instance;
  const std::function<void()> m_read = [this] { const MutexRead guard(m_instance); };
  const std::function<void()> m_write = [this] { const MutexWrite guard(m_instance); };
};

TEST_F(MutexReadWriteTest, GuardsTakeTheirLockAndUnlock) {
  EXPECT_EQ(CallsOf(m_read), (Strings{"pthread_rwlock_rdlock", "pthread_rwlock_unlock"}));
  EXPECT_EQ(CallsOf(m_write), (Strings{"pthread_rwlock_wrlock", "pthread_rwlock_unlock"}));
}

TEST_F(MutexReadWriteTest, ReadersDoNotBlockEachOther) {
  const MutexRead first(m_instance);
  EXPECT_NO_THROW(m_read());
  Contender reader(m_read);
  EXPECT_TRUE(reader.GetsThrough());
}

TEST_F(MutexReadWriteTest, AReaderHoldsUpAWriterUntilItIsDestroyed) {
  std::optional<MutexRead> guard(std::in_place, m_instance);
  Contender writer(m_write);
  EXPECT_TRUE(writer.IsHeldUp());
  guard.reset();
  EXPECT_TRUE(writer.GetsThrough());
}

TEST_F(MutexReadWriteTest, AWriterHoldsUpReadersAndWritersUntilItIsDestroyed) {
  std::optional<MutexWrite> guard(std::in_place, m_instance);
  Contender reader(m_read);
  Contender writer(m_write);
  EXPECT_TRUE(reader.IsHeldUp());
  EXPECT_TRUE(writer.IsHeldUp());
  guard.reset();
  EXPECT_TRUE(reader.GetsThrough());
  EXPECT_TRUE(writer.GetsThrough());
}

TEST_F(MutexReadWriteTest, AThreadThatWritesCannotLockAgainAndNothingMoreIsLocked) {
  {
    const MutexWrite writing(m_instance);
    ExpectThrown(m_read, "pthread_rwlock_rdlock returned 35", 35);
    ExpectThrown(m_write, "pthread_rwlock_wrlock returned 35", 35);
  }
  Contender writer(m_write);
  EXPECT_TRUE(writer.GetsThrough());
}

TEST_F(MutexReadWriteTest, AFailedLockIsThrownAndNotTriedAgain) {
  {
    const FailureOf failure("pthread_rwlock_rdlock", EAGAIN, 1);
    EXPECT_EQ(CallsOf([this] { ExpectThrown(m_read, "pthread_rwlock_rdlock returned 11", 11); }),
              Strings{"pthread_rwlock_rdlock"});
  }
  const FailureOf failure("pthread_rwlock_wrlock", EDEADLK, 1);
  EXPECT_EQ(CallsOf([this] { ExpectThrown(m_write, "pthread_rwlock_wrlock returned 35", 35); }),
            Strings{"pthread_rwlock_wrlock"});
}

TEST_F(MutexReadWriteTest, AFailedUnlockThrowsOutOfTheDestructor) {
  const FailureOf failure("pthread_rwlock_unlock", EPERM);
  ExpectThrown(m_read, "pthread_rwlock_unlock returned 1", 1);
  MutexReadWriteInstance other;  // the first one is still locked
  ExpectThrown([&] { const MutexWrite guard(other); }, "pthread_rwlock_unlock returned 1", 1);
}

}  // namespace
