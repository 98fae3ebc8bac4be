#include <gtest/gtest.h>

#include <cerrno>
#include <type_traits>

#include "framework/Utilities/Boolean.h"
#include "tests/core/FailingPthread.h"

namespace {

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

TEST(BooleanTest, ItIsReadUnderTheReadLockAndSetUnderTheWriteLock) {
  fwk::Boolean flag;
  EXPECT_EQ(CallsOf([&] { EXPECT_FALSE(flag); }),
            (Strings{"pthread_rwlock_rdlock", "pthread_rwlock_unlock"}));
  EXPECT_EQ(CallsOf([&] { flag = true; }),
            (Strings{"pthread_rwlock_wrlock", "pthread_rwlock_unlock"}));
}

TEST(BooleanTest, ItIsReadAndSetAfterTheLockIsTaken) {
  fwk::Boolean flag;
  const BeforeCall set(1, "pthread_rwlock_rdlock", [&] { flag = true; });
  EXPECT_TRUE(flag);
  bool before = false;
  const BeforeCall read(1, "pthread_rwlock_wrlock", [&] { before = flag; });
  flag = false;
  EXPECT_TRUE(before);
  EXPECT_FALSE(flag);
}

TEST(BooleanTest, AFailureOfTheLockIsThrown) {
  const FailureOf failure("pthread_rwlock_unlock", EPERM);
  fwk::Boolean read;
  ExpectThrown([&] { static_cast<void>(static_cast<bool>(read)); },
               "pthread_rwlock_unlock returned 1", 1);
  fwk::Boolean set;
  ExpectThrown([&] { set = true; }, "pthread_rwlock_unlock returned 1", 1);
}

TEST(BooleanTest, AFailureToDestroyTheLockIsThrownByTheDestructor) {
  const FailureOf failure("pthread_rwlock_destroy", EBUSY);
  ExpectThrown([] { const fwk::Boolean flag; }, "pthread_rwlock_destroy returned 16", 16);
}

}  // namespace
