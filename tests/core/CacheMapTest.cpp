#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <numeric>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "framework/core/CacheMap.h"
#include "tests/core/FailingPthread.h"
#include "tests/support/FailureText.h"
#include "tests/support/Threads.h"

namespace {

void InsertAll(CacheMap<std::string>& map, const Strings& keys) {
  for (const std::string& key : keys) {
    map.Insert(key);
  }
}

// Returns those of `keys` that the map has; none of them may have the stamp 0.
Strings KeysIn(const CacheMap<std::string>& map, const Strings& keys) {
  Strings found;
  for (const std::string& key : keys) {
    if (map.Find(key) != 0) {
      found.push_back(key);
    }
  }
  return found;
}

TEST(CacheMapTest, ItIsNeitherCopiedNorMovedAndIsDestroyedThroughItsBase) {
  using Map = CacheMap<std::string>;
  EXPECT_FALSE(std::is_copy_constructible_v<Map> || std::is_move_constructible_v<Map>);
  EXPECT_FALSE(std::is_copy_assignable_v<Map> || std::is_move_assignable_v<Map>);
  EXPECT_TRUE(std::has_virtual_destructor_v<Map>);
}

TEST(CacheMapTest, AFailureToDestroyItsLockLeavesTheDestructor) {
  const FailureOf failure("pthread_rwlock_destroy", EBUSY);
  ExpectThrown([] { const CacheMap<std::string> map(0, 0); }, "pthread_rwlock_destroy returned 16",
               16);
}

TEST(CacheMapTest, StampsRiseFromOne) {
  CacheMap<std::string> map(0, 0);
  EXPECT_EQ(map.Insert("a"), 1U);
  EXPECT_EQ(map.Insert("b"), 2U);
  EXPECT_EQ(map.Insert("c"), 3U);
  EXPECT_EQ(map.Find("a"), 1U);
  EXPECT_EQ(map.Find("b"), 2U);
  EXPECT_EQ(map.Find("c"), 3U);
}

TEST(CacheMapTest, AnAbsentKeyIsFoundAsZeroAndNotInserted) {
  CacheMap<std::string> map(1, 1);
  EXPECT_EQ(map.Find("a"), 0U);
  map.Insert("a");
  EXPECT_EQ(map.Find("b"), 0U);
  EXPECT_EQ(map.Find("b"), 0U);
  EXPECT_EQ(map.Find(""), 0U);
  EXPECT_EQ(map.Find("a"), 1U);
}

TEST(CacheMapTest, AnEmptyKeyAndOneWithAZeroByteAreKeys) {
  CacheMap<std::string> map(0, 0);
  map.Insert("");
  map.Insert(std::string("a\0b", 3));
  EXPECT_EQ(map.Find(""), 1U);
  EXPECT_EQ(map.Find(std::string("a\0b", 3)), 2U);
  EXPECT_EQ(map.Find("a"), 0U);
}

TEST(CacheMapTest, AKeyInsertedAgainIsTheNewestAndCountsOnce) {
  CacheMap<std::string> map(3, 1);
  InsertAll(map, {"a", "b", "c"});
  EXPECT_EQ(map.Insert("a"), 4U);
  EXPECT_EQ(map.Find("a"), 4U);
  EXPECT_EQ(KeysIn(map, {"a", "b", "c"}), (Strings{"a", "b", "c"}));
  map.Insert("d");
  EXPECT_EQ(KeysIn(map, {"a", "b", "c", "d"}), (Strings{"a", "c", "d"}));
}

TEST(CacheMapTest, AGivenStampReplacesTheCounterEvenByALowerOne) {
  CacheMap<std::string> map(0, 0);
  EXPECT_EQ(map.Insert("a", 9), 9U);
  EXPECT_EQ(map.Insert("b"), 10U);
  EXPECT_EQ(map.Insert("c", 5), 5U);
  EXPECT_EQ(map.Insert("d"), 6U);
  EXPECT_EQ(map.Find("a"), 9U);
}

TEST(CacheMapTest, AKeyWithTheStampZeroLooksAbsent) {
  CacheMap<std::string> map(1, 1);
  EXPECT_EQ(map.Insert("a", 0), 0U);
  EXPECT_EQ(map.Find("a"), 0U);
  EXPECT_EQ(map.Insert("a"), 1U);
}

TEST(CacheMapTest, TheLargestNumberAsAStampAsksForTheNext) {
  CacheMap<std::string> map(0, 0);
  EXPECT_EQ(map.Insert("a", 0xFFFFFFFF), 1U);
  EXPECT_EQ(map.Insert("b", 0xFFFFFFFE), 0xFFFFFFFEU);
}

TEST(CacheMapTest, TheCounterWrapsFromTheLargestNumberToZero) {
  CacheMap<std::string> map(0, 0);
  map.Insert("a", 0xFFFFFFFE);
  EXPECT_EQ(map.Insert("b"), 0xFFFFFFFFU);
  EXPECT_EQ(map.Insert("c"), 0U);
  EXPECT_EQ(map.Insert("d"), 1U);
  EXPECT_EQ(map.Find("b"), 0xFFFFFFFFU);
}

TEST(CacheMapTest, TheFirstOfTwoKeysWithOneStampIsFoundButNeitherCountedNorForgotten) {
  CacheMap<std::string> map(1, 1);
  map.Insert("a", 5);
  map.Insert("b", 5);
  EXPECT_EQ(map.Find("a"), 5U);
  EXPECT_EQ(map.Find("b"), 5U);
  InsertAll(map, {"c", "d"});
  EXPECT_EQ(KeysIn(map, {"a", "b", "c", "d"}), (Strings{"a", "d"}));
}

TEST(CacheMapTest, InsertingTheFirstOfTwoKeysWithOneStampAgainKeepsTheOther) {
  CacheMap<std::string> map(1, 1);
  map.Insert("a", 5);
  map.Insert("b", 5);
  EXPECT_EQ(map.Insert("a"), 6U);
  EXPECT_EQ(map.Find("b"), 5U);
  map.Insert("c");
  EXPECT_EQ(KeysIn(map, {"a", "b", "c"}), (Strings{"b", "c"}));
}

TEST(CacheMapTest, ALimitOfZeroKeepsEveryKey) {
  CacheMap<std::string> map(0, 100);
  Strings keys;
  for (int i = 1; i <= 20000; ++i) {
    keys.push_back(std::to_string(i));
  }
  InsertAll(map, keys);
  EXPECT_TRUE(KeysIn(map, keys) == keys);
}

TEST(CacheMapTest, OneKeyMoreThanTheLimitForgetsABatchOfTheOldest) {
  CacheMap<std::string> map(4, 3);
  InsertAll(map, {"a", "b", "c", "d", "e"});
  EXPECT_EQ(KeysIn(map, {"a", "b", "c", "d", "e"}), (Strings{"d", "e"}));
  InsertAll(map, {"f", "g"});
  EXPECT_EQ(KeysIn(map, {"d", "e", "f", "g"}), (Strings{"d", "e", "f", "g"}));
  map.Insert("h");
  EXPECT_EQ(KeysIn(map, {"d", "e", "f", "g", "h"}), (Strings{"g", "h"}));
}

TEST(CacheMapTest, ABatchNotSmallerThanTheLimitBecomesOneForGood) {
  for (const std::uint32_t batch : {3U, 4U, 0xFFFFFFFFU}) {
    CacheMap<std::string> map(3, batch);
    InsertAll(map, {"a", "b", "c", "d"});
    EXPECT_EQ(KeysIn(map, {"a", "b", "c", "d"}), (Strings{"b", "c", "d"})) << batch;
    map.Insert("e");
    EXPECT_EQ(KeysIn(map, {"b", "c", "d", "e"}), (Strings{"c", "d", "e"})) << batch;
    map.Insert("f");
    EXPECT_EQ(KeysIn(map, {"c", "d", "e", "f"}), (Strings{"d", "e", "f"})) << batch;
  }
}

TEST(CacheMapTest, AKeyInsertedWithTheLowestStampIsTheFirstToGo) {
  CacheMap<std::string> map(2, 1);
  map.Insert("a", 10);
  map.Insert("b");
  EXPECT_EQ(map.Insert("c", 5), 5U);
  EXPECT_EQ(KeysIn(map, {"a", "b", "c"}), (Strings{"a", "b"}));
  EXPECT_EQ(map.Insert("d"), 6U);
  EXPECT_EQ(KeysIn(map, {"a", "b", "d"}), (Strings{"a", "b"}));
}

TEST(CacheMapTest, AForgottenKeyMayComeAgain) {
  CacheMap<std::string> map(1, 1);
  InsertAll(map, {"a", "b"});
  EXPECT_EQ(KeysIn(map, {"a", "b"}), Strings{"b"});
  EXPECT_EQ(map.Insert("a"), 3U);
  EXPECT_EQ(KeysIn(map, {"a", "b"}), Strings{"a"});
}

TEST(CacheMapTest, ABatchOfZeroIsRefusedOnlyWithALimit) {
  EXPECT_EQ(FailureText<std::invalid_argument>([] { const CacheMap<std::string> map(1, 0); }),
            "CacheMap - batch of 0");
  EXPECT_NO_THROW(const CacheMap<std::string> unlimited(0, 0));
}

TEST(CacheMapTest, InsertingTakesTheWriteLockAndFindingTheReadLock) {
  CacheMap<std::string> map(1, 1);
  EXPECT_EQ(CallsOf([&] { map.Insert("a"); }),
            (Strings{"pthread_rwlock_wrlock", "pthread_rwlock_unlock"}));
  EXPECT_EQ(CallsOf([&] { map.Find("a"); }),
            (Strings{"pthread_rwlock_rdlock", "pthread_rwlock_unlock"}));
}

TEST(CacheMapTest, ThreadsThatInsertGetEachStampOnce) {
  constexpr std::size_t kThreads = 4;
  constexpr int kKeys = 500;
  CacheMap<std::string> map(100, 10);
  std::vector<std::vector<std::uint32_t>> given(kThreads);
  OnThreads(kThreads, [&](std::size_t i) {
    for (int key = 0; key < kKeys; ++key) {
      given[i].push_back(map.Insert(std::to_string(i) + " " + std::to_string(key)));
      map.Find(std::to_string(i) + " " + std::to_string(key / 2));
    }
  });
  std::vector<std::uint32_t> all;
  for (const auto& stamps : given) {
    EXPECT_TRUE(std::is_sorted(stamps.begin(), stamps.end()));
    all.insert(all.end(), stamps.begin(), stamps.end());
  }
  std::sort(all.begin(), all.end());
  std::vector<std::uint32_t> expected(kThreads * kKeys);
  std::iota(expected.begin(), expected.end(), 1U);
  EXPECT_EQ(all, expected);
}

}  // namespace
