#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <string>
#include <type_traits>

#include "framework/Utilities/Boolean.h"
#include "framework/core/Exceptions.h"
#include "tests/support/FailureText.h"
#include "tests/support/RealFunction.h"

namespace {

// Stops a thread just before it unlocks.
struct Stop {
  std::promise<void> reached;
  std::promise<void> mayGoOn;
};

thread_local Stop* stopBeforeUnlock = nullptr;
thread_local int unlockFailure = 0;
thread_local int destructionFailure = 0;

}  // namespace

extern "C" int pthread_rwlock_unlock(pthread_rwlock_t* lock) noexcept {
  static const auto real = RealFunction(&pthread_rwlock_unlock, "pthread_rwlock_unlock");
  if (stopBeforeUnlock != nullptr) {
    stopBeforeUnlock->reached.set_value();
    stopBeforeUnlock->mayGoOn.get_future().wait();
    stopBeforeUnlock = nullptr;
  }
  const int result = real(lock);
  return unlockFailure != 0 ? unlockFailure : result;
}

extern "C" int pthread_rwlock_destroy(pthread_rwlock_t* lock) noexcept {
  static const auto real = RealFunction(&pthread_rwlock_destroy, "pthread_rwlock_destroy");
  const int result = real(lock);
  return destructionFailure != 0 ? destructionFailure : result;
}

namespace {

using namespace std::chrono_literals;

bool IsHeldUp(const std::future<void>& access) {
  return access.wait_for(100ms) == std::future_status::timeout;
}

bool GetsThrough(const std::future<void>& access) {
  if (access.wait_for(20s) != std::future_status::ready) {
    std::abort();  // the destructor would wait for the thread without limit
  }
  return true;
}

std::future<void> Start(const std::function<void()>& access) {
  return std::async(std::launch::async, access);
}

// Runs `access` on a thread that holds the lock until Release().
class Holder {
 public:
  explicit Holder(const std::function<void()>& access)
      : m_access(Start([this, access] {
          stopBeforeUnlock = &m_stop;
          access();
        })) {
    if (m_stop.reached.get_future().wait_for(20s) != std::future_status::ready) {
      std::abort();  // the access takes no lock
    }
  }

  void Release() {
    m_stop.mayGoOn.set_value();
    GetsThrough(m_access);
  }

 private:
  Stop m_stop;
  std::future<void> m_access;
};

TEST(BooleanTest, ItCannotBeCopiedOrMovedAndHasAVirtualDestructor) {
  using Flag = fwk::Boolean;
  EXPECT_FALSE(std::is_copy_constructible_v<Flag> || std::is_move_constructible_v<Flag>);
  EXPECT_FALSE(std::is_copy_assignable_v<Flag> || std::is_move_assignable_v<Flag>);
  EXPECT_TRUE(std::has_virtual_destructor_v<Flag>);
}

TEST(BooleanTest, ItIsFalseWhenConstructed) {
  const fwk::Boolean flag;
  EXPECT_FALSE(flag);
}

TEST(BooleanTest, ItHasTheValueThatWasAssignedLast) {
  fwk::Boolean flag;
  flag = true;
  EXPECT_TRUE(flag);
  flag = true;
  EXPECT_TRUE(flag);
  flag = false;
  EXPECT_FALSE(flag);
}

TEST(BooleanTest, AReaderDoesNotBlockOtherReaders) {
  const fwk::Boolean flag;
  Holder reader([&] { EXPECT_FALSE(flag); });
  const auto other = Start([&] { EXPECT_FALSE(flag); });
  EXPECT_TRUE(GetsThrough(other));
  reader.Release();
}

TEST(BooleanTest, AReaderHoldsUpAWriter) {
  fwk::Boolean flag;
  Holder reader([&] { EXPECT_FALSE(flag); });
  const auto writer = Start([&] { flag = true; });
  EXPECT_TRUE(IsHeldUp(writer));
  reader.Release();
  EXPECT_TRUE(GetsThrough(writer));
  EXPECT_TRUE(flag);
}

TEST(BooleanTest, AWriterHoldsUpReaders) {
  fwk::Boolean flag;
  Holder writer([&] { flag = true; });
  const auto reader = Start([&] { EXPECT_TRUE(flag); });
  EXPECT_TRUE(IsHeldUp(reader));
  writer.Release();
  EXPECT_TRUE(GetsThrough(reader));
}

TEST(BooleanTest, AWriterHoldsUpOtherWriters) {
  fwk::Boolean flag;
  Holder first([&] { flag = true; });
  const auto second = Start([&] { flag = false; });
  EXPECT_TRUE(IsHeldUp(second));
  first.Release();
  EXPECT_TRUE(GetsThrough(second));
  EXPECT_FALSE(flag);
}

TEST(BooleanTest, AFailureOfTheLockIsThrown) {
  fwk::Boolean flag;
  unlockFailure = EPERM;
  const std::string reading =
      FailureText<StdSystemException>([&] { static_cast<void>(static_cast<bool>(flag)); });
  const std::string setting = FailureText<StdSystemException>([&] { flag = true; });
  unlockFailure = 0;
  EXPECT_EQ(reading, "pthread_rwlock_unlock returned 1");
  EXPECT_EQ(setting, "pthread_rwlock_unlock returned 1");
}

TEST(BooleanTest, AFailureToDestroyTheLockIsThrownByTheDestructor) {
  destructionFailure = EBUSY;
  const std::string text = FailureText<StdSystemException>([] { const fwk::Boolean flag; });
  destructionFailure = 0;
  EXPECT_EQ(text, "pthread_rwlock_destroy returned 16");
}

}  // namespace
