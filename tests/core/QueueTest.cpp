#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <future>
#include <optional>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "framework/core/Queue.h"
#include "tests/core/FailingPthread.h"

namespace {

using namespace std::chrono_literals;
using Strings = std::vector<std::string>;

std::future<void> StartWaiting(Queue<std::string>& queue) {
  return std::async(std::launch::async, [&queue] { queue.Wait(); });
}

Strings PopAll(Queue<std::string>& queue) {
  Strings items;
  std::string item;
  while (queue.Pop(item)) {
    items.push_back(item);
  }
  return items;
}

TEST(QueueTest, ItIsNeitherCopiedNorMovedAndHasNoVirtualOperations) {
  using Lines = Queue<std::string>;
  EXPECT_FALSE(std::is_copy_constructible_v<Lines> || std::is_move_constructible_v<Lines>);
  EXPECT_FALSE(std::is_copy_assignable_v<Lines> || std::is_move_assignable_v<Lines>);
  EXPECT_FALSE(std::is_polymorphic_v<Lines>);
}

// ---- Items

TEST(QueueTest, ItemsComeOutInTheOrderOfTheirArrival) {
  Queue<std::string> queue;
  for (const char* item : {"first", "", "third", "first"}) {
    queue.Push(item);
  }
  EXPECT_EQ(PopAll(queue), (Strings{"first", "", "third", "first"}));
}

TEST(QueueTest, PoppingRemovesTheFrontItemOnly) {
  Queue<std::string> queue;
  queue.Push("first");
  queue.Push("second");
  std::string item;
  EXPECT_TRUE(queue.Pop(item));
  EXPECT_EQ(item, "first");
  queue.Push("third");
  EXPECT_EQ(PopAll(queue), (Strings{"second", "third"}));
}

TEST(QueueTest, PoppingFromAnEmptyQueueTakesNothing) {
  Queue<std::string> queue;
  std::string item = "untouched";
  EXPECT_FALSE(queue.Pop(item));
  EXPECT_EQ(item, "untouched");
  queue.Push("only");
  EXPECT_TRUE(queue.Pop(item));
  EXPECT_FALSE(queue.Pop(item));
  EXPECT_EQ(item, "only");
}

TEST(QueueTest, PoppingDoesNotTakeFromTheSignal) {
  Queue<std::string> queue;
  queue.Push("item");
  EXPECT_EQ(PopAll(queue), Strings{"item"});
  queue.Wait();
  EXPECT_FALSE(queue.IsClosed());
}

// ---- Waiting

TEST(QueueTest, WaitingEndsWithAPush) {
  Queue<std::string> queue;
  std::future<void> waiter = StartWaiting(queue);
  EXPECT_EQ(waiter.wait_for(50ms), std::future_status::timeout);
  queue.Push("item");
  ResultOf(waiter);
  EXPECT_EQ(PopAll(queue), Strings{"item"});
}

TEST(QueueTest, EachPushEndsOneWait) {
  Queue<std::string> queue;
  for (const char* item : {"first", "second", "third"}) {
    queue.Push(item);
  }
  queue.Wait();
  queue.Wait();
  queue.Wait();
  std::future<void> fourth = StartWaiting(queue);
  EXPECT_EQ(fourth.wait_for(50ms), std::future_status::timeout);
  queue.Push("fourth");
  ResultOf(fourth);
}

TEST(QueueTest, ClosingReleasesAllWhoWait) {
  Queue<std::string> queue;
  std::array<std::future<void>, 3> waiters;
  for (std::future<void>& waiter : waiters) {
    waiter = StartWaiting(queue);
  }
  for (std::future<void>& waiter : waiters) {
    EXPECT_EQ(waiter.wait_for(20ms), std::future_status::timeout);
  }
  queue.Close();
  for (std::future<void>& waiter : waiters) {
    ResultOf(waiter);
  }
  EXPECT_TRUE(queue.IsClosed());
}

TEST(QueueTest, WaitingAtAClosedQueueEndsAtOnce) {
  Queue<std::string> queue;
  queue.Close();
  EXPECT_EQ(CallsOf([&] { queue.Wait(); }), Strings{});
}

// ---- A closed queue

TEST(QueueTest, ItIsOpenUntilItIsClosedForGood) {
  Queue<std::string> queue;
  EXPECT_FALSE(queue.IsClosed());
  queue.Push("item");
  EXPECT_FALSE(queue.IsClosed());
  queue.Close();
  EXPECT_TRUE(queue.IsClosed());
  queue.Push("item");
  EXPECT_TRUE(queue.IsClosed());
}

TEST(QueueTest, PushingToAClosedQueueChangesNothingAndPostsNothing) {
  Queue<std::string> queue;
  queue.Close();
  EXPECT_EQ(CallsOf([&] { queue.Push("item"); }),
            (Strings{"pthread_rwlock_wrlock", "pthread_rwlock_unlock"}));
  EXPECT_EQ(PopAll(queue), Strings{});
  EXPECT_TRUE(queue.IsClosed());
}

TEST(QueueTest, PoppingFromAClosedQueueTakesNothing) {
  Queue<std::string> queue;
  queue.Push("left");
  queue.Close();
  std::string item = "untouched";
  EXPECT_FALSE(queue.Pop(item));
  EXPECT_EQ(item, "untouched");
}

TEST(QueueTest, ItMayBeClosedTwice) {
  Queue<std::string> queue;
  queue.Close();
  EXPECT_NO_THROW(queue.Close());
  EXPECT_TRUE(queue.IsClosed());
}

TEST(QueueTest, ItIsDestroyedWithTheItemsLeftInIt) {
  std::optional<Queue<std::string>> queue(std::in_place);
  queue->Push(std::string(1000, 'x'));
  EXPECT_EQ(CallsOf([&] { queue.reset(); }),
            (Strings{"sem_destroy", "pthread_mutex_destroy", "pthread_mutexattr_destroy",
                     "pthread_rwlock_destroy"}));
}

TEST(QueueTest, AFailureToDestroyItsLocksLeavesTheDestructor) {
  {
    const FailureOf failure("pthread_rwlock_destroy", EBUSY);
    ExpectThrown([] { const Queue<std::string> queue; }, "pthread_rwlock_destroy returned 16", 16);
  }
  const FailureOf failure("pthread_mutex_destroy", EBUSY);
  ExpectThrown([] { const Queue<std::string> queue; }, "pthread_mutex_destroy returned 16", 16);
}

// ---- Locks

TEST(QueueTest, APushPostsOnceUnderTheWriteLock) {
  Queue<std::string> queue;
  EXPECT_EQ(CallsOf([&] { queue.Push("item"); }),
            (Strings{"pthread_rwlock_wrlock", "sem_post", "pthread_rwlock_unlock"}));
}

TEST(QueueTest, PoppingAndClosingTakeTheWriteLock) {
  Queue<std::string> queue;
  queue.Push("item");
  std::string item;
  EXPECT_EQ(CallsOf([&] { queue.Pop(item); }),
            (Strings{"pthread_rwlock_wrlock", "pthread_rwlock_unlock"}));
  EXPECT_EQ(CallsOf([&] { queue.Close(); }),
            (Strings{"pthread_rwlock_wrlock", "sem_destroy", "pthread_rwlock_unlock"}));
}

TEST(QueueTest, WhetherItIsClosedIsReadUnderTheReadLock) {
  Queue<std::string> queue;
  EXPECT_EQ(CallsOf([&] { queue.IsClosed(); }),
            (Strings{"pthread_rwlock_rdlock", "pthread_rwlock_unlock"}));
}

// ---- Several producers and consumers

struct Item {
  std::size_t producer;
  int number;

  auto operator<=>(const Item&) const = default;
};

Item Parse(const std::string& text) {
  const std::size_t blank = text.find(' ');
  return {.producer = std::stoul(text.substr(0, blank)), .number = std::stoi(text.substr(blank))};
}

// Whether the numbers of each producer's items rise.
bool KeepsTheOrderOfEachProducer(const std::vector<Item>& items, std::size_t producers) {
  std::vector<int> last(producers, -1);
  return std::all_of(items.begin(), items.end(), [&](const Item& item) {
    const bool rises = item.number > last[item.producer];
    last[item.producer] = item.number;
    return rises;
  });
}

class QueueOfManyThreadsTest : public testing::TestWithParam<std::size_t> {};

INSTANTIATE_TEST_SUITE_P(Consumers, QueueOfManyThreadsTest, testing::Values(1, 3));

TEST_P(QueueOfManyThreadsTest, EveryItemComesOutOnceAndThoseOfOneProducerInOrder) {
  constexpr std::size_t kProducers = 4;
  constexpr int kItems = 500;
  Queue<std::string> queue;
  std::vector<std::vector<Item>> taken(GetParam());
  std::atomic<std::size_t> count{0};
  std::atomic<int> wakenForNothing{0};

  std::vector<std::future<void>> consumers;
  for (std::vector<Item>& items : taken) {
    consumers.push_back(std::async(std::launch::async, [&] {
      for (;;) {
        queue.Wait();
        if (queue.IsClosed()) {
          return;
        }
        std::string item;
        if (queue.Pop(item)) {
          items.push_back(Parse(item));
          ++count;
        } else if (!queue.IsClosed()) {
          ++wakenForNothing;
        }
      }
    }));
  }
  std::vector<std::future<void>> producers;
  for (std::size_t producer = 0; producer < kProducers; ++producer) {
    producers.push_back(std::async(std::launch::async, [&queue, producer] {
      for (int number = 0; number < kItems; ++number) {
        queue.Push(std::to_string(producer) + " " + std::to_string(number));
      }
    }));
  }
  for (std::future<void>& producer : producers) {
    ResultOf(producer);
  }
  for (int i = 0; i < 20000 && count < kProducers * kItems; ++i) {
    std::this_thread::sleep_for(1ms);
  }
  queue.Close();
  for (std::future<void>& consumer : consumers) {
    ResultOf(consumer);
  }

  EXPECT_EQ(wakenForNothing, 0);
  std::vector<Item> all;
  for (const std::vector<Item>& items : taken) {
    EXPECT_TRUE(KeepsTheOrderOfEachProducer(items, kProducers));
    all.insert(all.end(), items.begin(), items.end());
  }
  std::vector<Item> expected;
  for (std::size_t producer = 0; producer < kProducers; ++producer) {
    for (int number = 0; number < kItems; ++number) {
      expected.push_back({.producer = producer, .number = number});
    }
  }
  std::sort(all.begin(), all.end());
  EXPECT_TRUE(all == expected) << all.size() << " items";
}

}  // namespace
