#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "framework/core/CacheMap.h"
#include "tests/core/FailingPthread.h"

namespace {

using Strings = std::vector<std::string>;

void InsertAll(CacheMap<std::string>& map, const Strings& keys) {
  for (const std::string& key : keys) {
    map.Insert(key);
  }
}

// Those of the keys that the map holds; none of them has the stamp 0.
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

// ---- Stamps

TEST(CacheMapTest, StampsRiseFromOne) {
  CacheMap<std::string> map(0, 0);
  EXPECT_EQ(map.Insert("a"), 1U);
  EXPECT_EQ(map.Insert("b"), 2U);
  EXPECT_EQ(map.Insert("c"), 3U);
  EXPECT_EQ(map.Find("a"), 1U);
  EXPECT_EQ(map.Find("b"), 2U);
  EXPECT_EQ(map.Find("c"), 3U);
}

TEST(CacheMapTest, AnAbsentKeyIsFoundAsZero) {
  CacheMap<std::string> map(0, 0);
  EXPECT_EQ(map.Find("a"), 0U);
  map.Insert("a");
  EXPECT_EQ(map.Find("b"), 0U);
  EXPECT_EQ(map.Find(""), 0U);
}

TEST(CacheMapTest, FindingDoesNotInsert) {
  CacheMap<std::string> map(1, 1);
  map.Insert("a");
  EXPECT_EQ(map.Find("b"), 0U);
  EXPECT_EQ(map.Find("b"), 0U);
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

TEST(CacheMapTest, InsertingAgainGivesTheNewestStamp) {
  CacheMap<std::string> map(0, 0);
  InsertAll(map, {"a", "b"});
  EXPECT_EQ(map.Insert("a"), 3U);
  EXPECT_EQ(map.Find("a"), 3U);
  EXPECT_EQ(map.Find("b"), 2U);
}

TEST(CacheMapTest, InsertingAgainMovesTheKeyToTheNewestAndLeavesTheNumberOfKeys) {
  CacheMap<std::string> map(3, 1);
  InsertAll(map, {"a", "b", "c", "a"});
  EXPECT_EQ(KeysIn(map, {"a", "b", "c"}), (Strings{"a", "b", "c"}));
  map.Insert("d");
  EXPECT_EQ(KeysIn(map, {"a", "b", "c", "d"}), (Strings{"a", "c", "d"}));
}

TEST(CacheMapTest, AGivenStampReplacesTheCounter) {
  CacheMap<std::string> map(0, 0);
  EXPECT_EQ(map.Insert("a", 9), 9U);
  EXPECT_EQ(map.Find("a"), 9U);
  EXPECT_EQ(map.Insert("b"), 10U);
}

TEST(CacheMapTest, ALowerGivenStampSetsTheCounterBack) {
  CacheMap<std::string> map(0, 0);
  map.Insert("a", 9);
  EXPECT_EQ(map.Insert("b", 5), 5U);
  EXPECT_EQ(map.Insert("c"), 6U);
  EXPECT_EQ(map.Find("a"), 9U);
}

TEST(CacheMapTest, AKeyOfTheStampZeroCannotBeToldFromAnAbsentOne) {
  CacheMap<std::string> map(1, 1);
  EXPECT_EQ(map.Insert("a", 0), 0U);
  EXPECT_EQ(map.Find("a"), 0U);
  EXPECT_EQ(map.Insert("a"), 1U);
}

TEST(CacheMapTest, TheLargestNumberAsAStampMeansTheNext) {
  CacheMap<std::string> map(0, 0);
  EXPECT_EQ(map.Insert("a", 0xFFFFFFFF), 1U);
  EXPECT_EQ(map.Insert("b", 0xFFFFFFFE), 0xFFFFFFFEU);
}

TEST(CacheMapTest, TheCounterGoesThroughTheLargestNumberToZero) {
  CacheMap<std::string> map(0, 0);
  map.Insert("a", 0xFFFFFFFE);
  EXPECT_EQ(map.Insert("b"), 0xFFFFFFFFU);
  EXPECT_EQ(map.Insert("c"), 0U);
  EXPECT_EQ(map.Insert("d"), 1U);
  EXPECT_EQ(map.Find("b"), 0xFFFFFFFFU);
}

// ---- Two keys of one stamp

TEST(CacheMapTest, AStampGivenTwiceIsFoundForBothKeys) {
  CacheMap<std::string> map(0, 0);
  map.Insert("a", 5);
  map.Insert("b", 5);
  EXPECT_EQ(map.Find("a"), 5U);
  EXPECT_EQ(map.Find("b"), 5U);
}

TEST(CacheMapTest, AKeyWhoseStampWasGivenAgainIsNeitherCountedNorForgotten) {
  CacheMap<std::string> map(1, 1);
  map.Insert("a", 5);
  map.Insert("b", 5);
  EXPECT_EQ(KeysIn(map, {"a", "b"}), (Strings{"a", "b"}));
  InsertAll(map, {"c", "d"});
  EXPECT_EQ(KeysIn(map, {"a", "b", "c", "d"}), (Strings{"a", "d"}));
}

TEST(CacheMapTest, InsertingSuchAKeyAgainTakesTheOtherOutOfTheAges) {
  CacheMap<std::string> map(1, 1);
  map.Insert("a", 5);
  map.Insert("b", 5);
  EXPECT_EQ(map.Insert("a"), 6U);
  EXPECT_EQ(map.Find("b"), 5U);
  map.Insert("c");
  EXPECT_EQ(KeysIn(map, {"a", "b", "c"}), (Strings{"b", "c"}));
}

// ---- The limit

TEST(CacheMapTest, ALimitOfZeroKeepsEveryKey) {
  CacheMap<std::string> map(0, 100);
  for (int i = 1; i <= 20000; ++i) {
    map.Insert(std::to_string(i));
  }
  int found = 0;
  for (int i = 1; i <= 20000; ++i) {
    found += map.Find(std::to_string(i)) != 0 ? 1 : 0;
  }
  EXPECT_EQ(found, 20000);
}

TEST(CacheMapTest, AsManyKeysAsTheLimitAreKept) {
  CacheMap<std::string> map(3, 1);
  InsertAll(map, {"a", "b", "c"});
  EXPECT_EQ(KeysIn(map, {"a", "b", "c"}), (Strings{"a", "b", "c"}));
}

TEST(CacheMapTest, OneKeyPastTheLimitForgetsABatchOfTheOldest) {
  CacheMap<std::string> map(4, 3);
  InsertAll(map, {"a", "b", "c", "d", "e"});
  EXPECT_EQ(KeysIn(map, {"a", "b", "c", "d", "e"}), (Strings{"d", "e"}));
  InsertAll(map, {"f", "g"});
  EXPECT_EQ(KeysIn(map, {"d", "e", "f", "g"}), (Strings{"d", "e", "f", "g"}));
  map.Insert("h");
  EXPECT_EQ(KeysIn(map, {"d", "e", "f", "g", "h"}), (Strings{"g", "h"}));
}

TEST(CacheMapTest, The10001stOfTenThousandKeysForgetsTheHundredOldestAndLeaves9901) {
  CacheMap<std::string> map(10000, 100);
  for (int i = 1; i <= 10000; ++i) {
    map.Insert(std::to_string(i));
  }
  EXPECT_EQ(map.Find("1"), 1U);
  EXPECT_EQ(map.Insert("10001"), 10001U);
  EXPECT_EQ(map.Find("100"), 0U);
  EXPECT_EQ(map.Find("101"), 101U);
  int found = 0;
  for (int i = 1; i <= 10001; ++i) {
    found += map.Find(std::to_string(i)) != 0 ? 1 : 0;
  }
  EXPECT_EQ(found, 9901);
}

TEST(CacheMapTest, ABatchOfTheLimitOrMoreBecomesOneForGood) {
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

TEST(CacheMapTest, ALimitOfOneKeepsTheNewestKey) {
  CacheMap<std::string> map(1, 1);
  InsertAll(map, {"a", "b", "c"});
  EXPECT_EQ(KeysIn(map, {"a", "b", "c"}), Strings{"c"});
}

TEST(CacheMapTest, AKeyInsertedWithTheLowestStampIsItselfTheFirstToGo) {
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
  EXPECT_EQ(map.Insert("a"), 3U);
  EXPECT_EQ(map.Find("a"), 3U);
}

TEST(CacheMapTest, ABatchOfZeroIsRefusedWithALimitOnly) {
  try {
    const CacheMap<std::string> map(1, 0);
    ADD_FAILURE() << "nothing was thrown";
  } catch (const std::invalid_argument& exception) {
    EXPECT_STREQ(exception.what(), "CacheMap - batch of 0");
  }
  CacheMap<std::string> unlimited(0, 0);
  EXPECT_EQ(unlimited.Insert("a"), 1U);
}

// ---- Threads

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
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      for (int key = 0; key < kKeys; ++key) {
        given[i].push_back(map.Insert(std::to_string(i) + " " + std::to_string(key)));
        map.Find(std::to_string(i) + " " + std::to_string(key / 2));
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  std::vector<std::uint32_t> all;
  for (const auto& stamps : given) {
    EXPECT_TRUE(std::is_sorted(stamps.begin(), stamps.end()));
    all.insert(all.end(), stamps.begin(), stamps.end());
  }
  std::sort(all.begin(), all.end());
  std::vector<std::uint32_t> expected;
  for (std::uint32_t stamp = 1; stamp <= kThreads * kKeys; ++stamp) {
    expected.push_back(stamp);
  }
  EXPECT_EQ(all, expected);
}

}  // namespace
