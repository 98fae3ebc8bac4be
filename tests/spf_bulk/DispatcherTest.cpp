#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "programs/spf-bulk/Dispatcher.h"

namespace {

using namespace std::chrono_literals;
using Task = std::optional<Dispatcher::Task>;

std::unique_ptr<LineBlock> MakeBlock(std::uint64_t number, int count) {
  auto block = std::make_unique<LineBlock>(number);
  for (int i = 0; i < count; ++i) {
    block->Add("a,1.1.1.1," + std::to_string(number + static_cast<std::uint64_t>(i)));
  }
  block->Close();
  return block;
}

const Outcome kPassed{.verdict = Verdict::kPassed, .note = ""};
const Outcome kLacking{.verdict = Verdict::kFailed, .note = "no answer", .lacksAnswer = true};

std::string NameOf(const Task& task) {
  return std::string(task->line.substr(10));
}

// Returns all the output that can be written now.
std::string PrintAll(Dispatcher& dispatcher) {
  std::string all;
  bool isAll = false;
  while (!isAll) {
    std::string output;
    std::string errors;
    isAll = dispatcher.Print(output, errors);
    all += output;
  }
  return all;
}

TEST(DispatcherTest, LinesComeOutInTheOrderOfTheInput) {
  constexpr int kThreads = 8;
  constexpr int kLines = 20000;
  Dispatcher dispatcher(kThreads);
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < kThreads; ++i) {
    threads.emplace_back([&dispatcher, i] {
      Task task;
      while (dispatcher.Exchange(i, task, kPassed)) {
      }
    });
  }
  threads.emplace_back([&] {
    for (int i = 0; i < kLines; i += 100) {
      EXPECT_TRUE(dispatcher.Add(MakeBlock(static_cast<std::uint64_t>(i) + 1, 100)));
    }
    dispatcher.Close("");
  });
  std::string output;
  bool isDone = false;
  while (!isDone) {
    isDone = dispatcher.Wait(1ms);
    output += PrintAll(dispatcher);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  std::string wanted;
  for (int i = 1; i <= kLines; ++i) {
    wanted += "a,1.1.1.1," + std::to_string(i) + ",passed\n";
  }
  EXPECT_EQ(output.substr(0, 1000), wanted.substr(0, 1000));
  EXPECT_TRUE(output == wanted);
  EXPECT_EQ(dispatcher.GetTotals().passed, static_cast<std::uint64_t>(kLines));
}

TEST(DispatcherTest, ACheckThatLacksAnAnswerIsRepeatedOnceAfterTheOthers) {
  Dispatcher dispatcher(1);
  dispatcher.Add(MakeBlock(1, 2));
  dispatcher.Close("");
  Task task;
  ASSERT_TRUE(dispatcher.Exchange(0, task, {}));
  EXPECT_EQ(NameOf(task), "1");
  ASSERT_TRUE(dispatcher.Exchange(0, task, kLacking));
  EXPECT_EQ(NameOf(task), "2");
  ASSERT_TRUE(dispatcher.Exchange(0, task, kPassed));
  EXPECT_EQ(NameOf(task), "1");
  EXPECT_TRUE(task->firstBegin.has_value());
  EXPECT_FALSE(dispatcher.Exchange(0, task, kLacking));
  std::string output;
  std::string errors;
  EXPECT_TRUE(dispatcher.Print(output, errors));
  EXPECT_EQ(output, "a,1.1.1.1,1,failed\na,1.1.1.1,2,passed\n");
  EXPECT_EQ(errors, "1,no answer,a,1.1.1.1,1\n");
  EXPECT_EQ(dispatcher.GetTotals().doubtful, 1U);
}

TEST(DispatcherTest, RepetitionsThatGatheredForASecondBeginBeforeOtherChecks) {
  Dispatcher dispatcher(16);
  dispatcher.Add(MakeBlock(1, 10));
  Task tasks[4];
  ASSERT_TRUE(dispatcher.Exchange(0, tasks[0], {}));
  ASSERT_TRUE(dispatcher.Exchange(0, tasks[0], kLacking));
  EXPECT_EQ(NameOf(tasks[0]), "2");
  std::this_thread::sleep_for(900ms);
  ASSERT_TRUE(dispatcher.Exchange(0, tasks[0], kLacking));
  EXPECT_EQ(NameOf(tasks[0]), "3");
  std::this_thread::sleep_for(200ms);
  for (unsigned i = 1; i < 4; ++i) {
    ASSERT_TRUE(dispatcher.Exchange(i, tasks[i], {}));
    EXPECT_EQ(NameOf(tasks[i]), std::to_string(i < 3 ? i : 4));
    EXPECT_EQ(tasks[i]->firstBegin.has_value(), i < 3);
  }
  EXPECT_GE(tasks[2]->begin - tasks[1]->begin, 250us);
}

TEST(DispatcherTest, ARepetitionWaitsUntilOnlyAQuarterOfTheChecksAreNew) {
  Dispatcher dispatcher(4);
  dispatcher.Add(MakeBlock(1, 10));
  Task tasks[4];
  for (unsigned i = 0; i < 3; ++i) {
    ASSERT_TRUE(dispatcher.Exchange(i, tasks[i], {}));
  }
  ASSERT_TRUE(dispatcher.Exchange(0, tasks[0], kLacking));
  std::this_thread::sleep_for(1100ms);
  ASSERT_TRUE(dispatcher.Exchange(1, tasks[1], kPassed));
  EXPECT_EQ(NameOf(tasks[1]), "1");  // checks that began a second ago are not new
  EXPECT_TRUE(tasks[1]->firstBegin.has_value());
}

// Lets the check of the first line lack an answer, and waits until it may be repeated. Thread 0
// continues with the second line, `task`.
void LackAnAnswer(Dispatcher& dispatcher, Task& task) {
  ASSERT_TRUE(dispatcher.Exchange(0, task, {}));
  ASSERT_TRUE(dispatcher.Exchange(0, task, kLacking));
  std::this_thread::sleep_for(1100ms);
}

// Returns whether a check in another thread begins within 0.1 s. After that `meanwhile` must let it
// begin, or end the run.
bool MayBegin(Dispatcher& dispatcher, unsigned thread, const std::function<void()>& meanwhile) {
  std::promise<void> begun;
  std::future<void> future = begun.get_future();
  std::thread other([&] {
    Task task;
    dispatcher.Exchange(thread, task, {});
    begun.set_value();
  });
  const bool mayBegin = future.wait_for(100ms) == std::future_status::ready;
  meanwhile();
  other.join();
  return mayBegin;
}

TEST(DispatcherTest, FewChecksBeginDuringARepetition) {
  Dispatcher dispatcher(8);
  dispatcher.Add(MakeBlock(1, 10));
  Task one;
  Task two;
  Task three;
  LackAnAnswer(dispatcher, one);
  ASSERT_TRUE(dispatcher.Exchange(1, two, {}));
  ASSERT_TRUE(two->firstBegin.has_value());
  ASSERT_TRUE(dispatcher.Exchange(2, three, {}));
  EXPECT_FALSE(MayBegin(dispatcher, 3, [&] {
    EXPECT_TRUE(dispatcher.Exchange(1, two, kLacking));  // now none is repeated
  }));
  EXPECT_TRUE(MayBegin(dispatcher, 4, [] {}));
}

TEST(DispatcherTest, ALongRepetitionDoesNotDelayOthers) {
  Dispatcher dispatcher(4);
  dispatcher.Add(MakeBlock(1, 10));
  Task one;
  Task two;
  LackAnAnswer(dispatcher, one);
  ASSERT_TRUE(dispatcher.Exchange(1, two, {}));
  ASSERT_TRUE(two->firstBegin.has_value());
  std::this_thread::sleep_for(250ms);
  EXPECT_TRUE(MayBegin(dispatcher, 2, [&] { dispatcher.End(""); }));
}

TEST(DispatcherTest, ARepetitionThatReachesItsTimeLimitDoesNotProveALoss) {
  Dispatcher dispatcher(2);
  dispatcher.Add(MakeBlock(1, 10));
  Task one;
  LackAnAnswer(dispatcher, one);
  ASSERT_TRUE(dispatcher.Exchange(0, one, kPassed));
  ASSERT_TRUE(one->firstBegin.has_value());
  ASSERT_TRUE(dispatcher.Exchange(0, one, {.verdict = Verdict::kError, .note = "time limit"}));
  EXPECT_TRUE(MayBegin(dispatcher, 1, [&] { dispatcher.End(""); }));
}

TEST(DispatcherTest, ALossThatARepetitionProvesReducesTheNumberOfChecks) {
  Dispatcher dispatcher(2);
  dispatcher.Add(MakeBlock(1, 10));
  Task one;
  Task two;
  LackAnAnswer(dispatcher, one);
  ASSERT_TRUE(dispatcher.Exchange(0, one, kPassed));
  EXPECT_EQ(NameOf(one), "1");
  ASSERT_TRUE(dispatcher.Exchange(0, one, kPassed));  // from now on one at a time is allowed
  std::thread other([&] { EXPECT_FALSE(dispatcher.Exchange(1, two, {})); });
  std::this_thread::sleep_for(100ms);
  EXPECT_FALSE(two.has_value());
  dispatcher.End("");
  other.join();
}

// Adds blocks of 1,000 lines, about 16,000 bytes each, on a thread.
class ReadUntilItWaits {
 public:
  explicit ReadUntilItWaits(Dispatcher& dispatcher)
      : m_dispatcher(dispatcher), m_thread([this] {
          while (m_dispatcher.Add(MakeBlock(m_blocks * 1000 + 1, 1000))) {
            ++m_blocks;
          }
        }) {}
  ~ReadUntilItWaits() {
    m_dispatcher.End("");
    m_thread.join();
  }
  ReadUntilItWaits(const ReadUntilItWaits&) = delete;
  ReadUntilItWaits& operator=(const ReadUntilItWaits&) = delete;

  // Returns the number of blocks after 0.1 s in which none was added.
  std::uint64_t CountBlocks() {
    std::uint64_t before = 0;
    for (int i = 0; i < 100 && (before == 0 || m_blocks != before); ++i) {
      before = m_blocks;
      std::this_thread::sleep_for(100ms);
    }
    return before;
  }

 private:
  Dispatcher& m_dispatcher;
  std::atomic<std::uint64_t> m_blocks{0};
  std::thread m_thread;
};

TEST(DispatcherTest, TheReaderWaitsWhileManyLinesWaitForTheirCheck) {
  Dispatcher dispatcher(1);
  ReadUntilItWaits reader(dispatcher);
  EXPECT_EQ(reader.CountBlocks(), 65U);  // the next one waits for room
}

TEST(DispatcherTest, DuringASlowLineTheReaderContinuesWhileFewLinesWait) {
  Dispatcher dispatcher(2);
  ReadUntilItWaits reader(dispatcher);
  Task slow;
  ASSERT_TRUE(dispatcher.Exchange(0, slow, {}));
  Task task;
  for (int i = 0; i < 50000; ++i) {
    ASSERT_TRUE(dispatcher.Exchange(1, task, kPassed));
  }
  EXPECT_EQ(reader.CountBlocks(), 65U);
  for (int i = 0; i < 10000; ++i) {
    ASSERT_TRUE(dispatcher.Exchange(1, task, kPassed));
  }
  EXPECT_EQ(reader.CountBlocks(), 69U);  // 8,000 lines that wait have less than 128 KiB
}

TEST(DispatcherTest, ASlowLineHoldsBackAtMost32MiB) {
  Dispatcher dispatcher(2);
  const ReadUntilItWaits reader(dispatcher);
  Task slow;
  ASSERT_TRUE(dispatcher.Exchange(0, slow, {}));
  std::thread checker([&] {
    Task task;
    while (dispatcher.Exchange(1, task, kPassed)) {
    }
  });
  std::string output;
  std::string errors;
  std::uint64_t before = 0;
  do {
    before = dispatcher.GetTotals().passed;
    std::this_thread::sleep_for(500ms);
    EXPECT_TRUE(dispatcher.Print(output, errors));
  } while (dispatcher.GetTotals().passed != before);
  EXPECT_EQ(output, "");
  EXPECT_GT(before * 18, 32000000U);  // a line has 16 to 18 bytes
  EXPECT_LT(before * 16, 34000000U);
  dispatcher.End("");
  checker.join();
}

TEST(DispatcherTest, AfterAFaultOfTheInputTheLinesBeforeItAreChecked) {
  Dispatcher dispatcher(1);
  dispatcher.Add(MakeBlock(1, 1));
  dispatcher.Close("cannot read");
  Task task;
  EXPECT_TRUE(dispatcher.Exchange(0, task, {}));
  EXPECT_FALSE(dispatcher.Wait(0ms));
  EXPECT_FALSE(dispatcher.Exchange(0, task, kPassed));
  EXPECT_TRUE(dispatcher.Wait(0ms));
  dispatcher.End("another");
  EXPECT_EQ(dispatcher.GetFault(), "cannot read");
}

TEST(DispatcherTest, AnOutcomeAfterTheEndDoesNotCount) {
  Dispatcher dispatcher(1);
  dispatcher.Add(MakeBlock(1, 2));
  Task task;
  EXPECT_TRUE(dispatcher.Exchange(0, task, {}));
  dispatcher.End("");
  EXPECT_FALSE(dispatcher.Exchange(0, task, kPassed));
  std::string output;
  std::string errors;
  EXPECT_TRUE(dispatcher.Print(output, errors));
  EXPECT_EQ(output, "");
  EXPECT_FALSE(dispatcher.Add(MakeBlock(3, 1)));
}

}  // namespace
