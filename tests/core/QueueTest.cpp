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
#include <type_traits>
#include <vector>

#include "framework/core/Queue.h"
#include "tests/core/FailingPthread.h"
#include "tests/support/Threads.h"
#include "tests/support/Waiting.h"

namespace {

using namespace std::chrono_literals;

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

TEST(QueueTest, ItCannotBeCopiedOrMovedAndHasNoVirtualOperations) {
  using Lines = Queue<std::string>;
  EXPECT_FALSE(std::is_copy_constructible_v<Lines> || std::is_move_constructible_v<Lines>);
  EXPECT_FALSE(std::is_copy_assignable_v<Lines> || std::is_move_assignable_v<Lines>);
  EXPECT_FALSE(std::is_polymorphic_v<Lines>);
}

TEST(QueueTest, ItemsComeOutInTheOrderTheyWerePushed) {
  Queue<std::string> queue;
  for (const char* item : {"first", "", "third", "first"}) {
    queue.Push(item);
  }
  EXPECT_EQ(PopAll(queue), (Strings{"first", "", "third", "first"}));
}

TEST(QueueTest, PoppingFromAnEmptyQueueReturnsFalseAndChangesNothing) {
  Queue<std::string> queue;
  std::string item = "untouched";
  EXPECT_FALSE(queue.Pop(item));
  EXPECT_EQ(item, "untouched");
  queue.Push("only");
  EXPECT_TRUE(queue.Pop(item));
  EXPECT_FALSE(queue.Pop(item));
  EXPECT_EQ(item, "only");
}

TEST(QueueTest, PoppingDoesNotUseUpTheWakeUpOfAPush) {
  Queue<std::string> queue;
  queue.Push("item");
  EXPECT_EQ(PopAll(queue), Strings{"item"});
  queue.Wait();
  EXPECT_FALSE(queue.IsClosed());
}

TEST(QueueTest, EachPushEndsOneWait) {
  Queue<std::string> queue;
  queue.Push("first");
  queue.Push("second");
  queue.Wait();
  queue.Wait();
  std::future<void> third = StartWaiting(queue);
  EXPECT_EQ(third.wait_for(50ms), std::future_status::timeout);
  queue.Push("third");
  ResultOf(third);
}

TEST(QueueTest, ClosingReleasesAllThreadsThatWait) {
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

TEST(QueueTest, WaitingForAClosedQueueReturnsAtOnce) {
  Queue<std::string> queue;
  queue.Close();
  EXPECT_EQ(CallsOf([&] { queue.Wait(); }), Strings{});
}

TEST(QueueTest, AClosedQueueCannotBeReopenedButClosedAgain) {
  Queue<std::string> queue;
  queue.Push("item");
  EXPECT_FALSE(queue.IsClosed());
  queue.Close();
  EXPECT_TRUE(queue.IsClosed());
  EXPECT_NO_THROW(queue.Close());
  queue.Push("item");
  EXPECT_TRUE(queue.IsClosed());
}

TEST(QueueTest, PushingToAClosedQueueDropsTheItemAndWakesNobody) {
  Queue<std::string> queue;
  queue.Close();
  EXPECT_EQ(CallsOf([&] { queue.Push("item"); }),
            (Strings{"pthread_rwlock_wrlock", "pthread_rwlock_unlock"}));
  EXPECT_EQ(PopAll(queue), Strings{});
  EXPECT_TRUE(queue.IsClosed());
}

TEST(QueueTest, PoppingFromAClosedQueueReturnsFalseAndChangesNothing) {
  Queue<std::string> queue;
  queue.Push("left");
  queue.Close();
  std::string item = "untouched";
  EXPECT_FALSE(queue.Pop(item));
  EXPECT_EQ(item, "untouched");
}

TEST(QueueTest, ItMayBeDestroyedWithItemsLeft) {
  std::optional<Queue<std::string>> queue(std::in_place);
  queue->Push(std::string(1000, 'x'));
  EXPECT_EQ(CallsOf([&] { queue.reset(); }),
            (Strings{"sem_destroy", "pthread_mutex_destroy", "pthread_mutexattr_destroy",
                     "pthread_rwlock_destroy"}));
}

TEST(QueueTest, AFailureToDestroyItsLocksIsThrownByTheDestructor) {
  for (const char* function : {"pthread_rwlock_destroy", "pthread_mutex_destroy"}) {
    const FailureOf failure(function, EBUSY);
    ExpectThrown([] { const Queue<std::string> queue; }, std::string(function) + " returned 16",
                 16);
  }
}

TEST(QueueTest, ItIsReadUnderTheReadLockAndChangedUnderTheWriteLock) {
  Queue<std::string> queue;
  EXPECT_EQ(CallsOf([&] { queue.Push("item"); }),
            (Strings{"pthread_rwlock_wrlock", "sem_post", "pthread_rwlock_unlock"}));
  std::string item;
  EXPECT_EQ(CallsOf([&] { queue.Pop(item); }),
            (Strings{"pthread_rwlock_wrlock", "pthread_rwlock_unlock"}));
  EXPECT_EQ(CallsOf([&] { queue.IsClosed(); }),
            (Strings{"pthread_rwlock_rdlock", "pthread_rwlock_unlock"}));
  EXPECT_EQ(CallsOf([&] { queue.Close(); }),
            (Strings{"pthread_rwlock_wrlock", "sem_destroy", "pthread_rwlock_unlock"}));
}

struct Item {
  std::size_t producer;
  int number;

  auto operator<=>(const Item&) const = default;
};

// Returns whether the numbers of each producer's items rise.
bool KeepsTheOrderOfEachProducer(const std::vector<Item>& items, std::size_t producers) {
  std::vector<int> last(producers, -1);
  return std::all_of(items.begin(), items.end(), [&](const Item& item) {
    const bool rises = item.number > last[item.producer];
    last[item.producer] = item.number;
    return rises;
  });
}

// Takes items until the queue is closed; each wait that ends before must yield one.
std::vector<Item> Consume(Queue<Item>& queue, std::atomic<std::size_t>& count) {
  std::vector<Item> items;
  for (;;) {
    queue.Wait();
    Item item{};
    if (queue.Pop(item)) {
      items.push_back(item);
      ++count;
    } else {
      EXPECT_TRUE(queue.IsClosed());
      return items;
    }
  }
}

class QueueOfManyThreadsTest : public testing::TestWithParam<std::size_t> {};

INSTANTIATE_TEST_SUITE_P(Consumers, QueueOfManyThreadsTest, testing::Values(1, 3));

TEST_P(QueueOfManyThreadsTest, EachItemComesOutOnceAndThoseOfOneProducerInOrder) {
  constexpr std::size_t kProducers = 4;
  constexpr int kItems = 500;
  Queue<Item> queue;
  std::atomic<std::size_t> count{0};
  std::vector<std::future<std::vector<Item>>> consumers;
  for (std::size_t i = 0; i < GetParam(); ++i) {
    consumers.push_back(std::async(std::launch::async, [&] { return Consume(queue, count); }));
  }
  OnThreads(kProducers, [&](std::size_t producer) {
    for (int number = 0; number < kItems; ++number) {
      queue.Push({.producer = producer, .number = number});
    }
  });
  EXPECT_TRUE(ComesTrue([&] { return count == kProducers * kItems; }));
  queue.Close();

  std::vector<Item> all;
  for (std::future<std::vector<Item>>& consumer : consumers) {
    const std::vector<Item> items = ResultOf(consumer);
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
