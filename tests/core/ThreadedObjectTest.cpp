#include <gtest/gtest.h>
#include <linux/capability.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "framework/core/Exceptions.h"
#include "framework/core/ThreadedObject.h"
#include "tests/core/FailingPthread.h"
#include "tests/support/Waiting.h"

namespace {

using namespace std::chrono_literals;

// Runs `body` on its thread and calls `atEnd` from its destructor.
class Worker : public ThreadedObject {
 public:
  using Body = std::function<std::uint32_t(Worker&)>;

  explicit Worker(
      Body body = [](Worker&) { return 0U; }, std::function<void(Worker&)> atEnd = nullptr)
      : m_body(std::move(body)), m_atEnd(std::move(atEnd)) {}

  ~Worker() override {
    if (!m_bDetached) {
      StopObjectThread();
    }
    if (m_atEnd) {
      m_atEnd(*this);
    }
  }

  std::uint32_t ObjectThreadMethod() override { return m_body(*this); }

  using ThreadedObject::m_attributes;
  using ThreadedObject::m_bDetached;
  using ThreadedObject::m_bRunning;
  using ThreadedObject::m_thread;

 private:
  Body m_body;
  std::function<void(Worker&)> m_atEnd;
};

std::uint32_t PollRunning(Worker& worker) {
  while (worker.m_bRunning) {
    std::this_thread::sleep_for(1ms);
  }
  return 0;
}

struct Fields {
  bool detached;
  bool hasThread;
  bool running;

  bool operator==(const Fields&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Fields& fields) {
  return stream << "detached " << fields.detached << ", thread " << fields.hasThread << ", running "
                << fields.running;
}

Fields FieldsOf(const Worker& worker) {
  return {.detached = worker.m_bDetached,
          .hasThread = worker.m_thread != 0,
          .running = worker.m_bRunning};
}

// Joins the worker's thread behind its back and returns the thread's result.
std::uintptr_t ResultOfThread(Worker& worker) {
  void* result = nullptr;
  EXPECT_EQ(pthread_join(std::exchange(worker.m_thread, 0), &result), 0);
  return reinterpret_cast<std::uintptr_t>(result);
}

TEST(ThreadedObjectTest, ItIsABaseThatCannotBeCopiedOrMoved) {
  using Base = ThreadedObject;
  EXPECT_TRUE(std::is_abstract_v<Base>);
  EXPECT_TRUE(std::has_virtual_destructor_v<Base>);
  EXPECT_FALSE(std::is_copy_assignable_v<Base> || std::is_move_assignable_v<Base>);
  EXPECT_FALSE(std::is_copy_constructible_v<Worker> || std::is_move_constructible_v<Worker>);
}

// An object that starts and stops in its own way.
class OwnWay : public ThreadedObject {
 public:
  std::uint32_t ObjectThreadMethod() override { return 0; }
  bool StartObjectThread(bool /*detached*/, int /*priority*/) override {
    m_calls.emplace_back("start");
    return false;
  }
  void StopObjectThread() override { m_calls.emplace_back("stop"); }

  Strings m_calls;
};

TEST(ThreadedObjectTest, ASubclassMayStartAndStopInItsOwnWay) {
  OwnWay object;
  ThreadedObject& base = object;
  EXPECT_FALSE(base.StartObjectThread(false, 0));
  base.StopObjectThread();
  EXPECT_EQ(object.m_calls, (Strings{"start", "stop"}));
}

TEST(ThreadedObjectTest, ANewObjectIsRunningButHasNoThread) {
  const Worker worker;
  EXPECT_EQ(FieldsOf(worker), (Fields{.detached = false, .hasThread = false, .running = true}));
}

TEST(ThreadedObjectTest, StartingRunsTheBodyOnItsOwnThread) {
  std::promise<pthread_t> body;
  Worker worker([&](Worker&) {
    body.set_value(pthread_self());
    return 0U;
  });
  EXPECT_TRUE(worker.StartObjectThread(false, 0));
  const pthread_t thread = ResultOf(body);
  EXPECT_TRUE(pthread_equal(thread, worker.m_thread));
  EXPECT_FALSE(pthread_equal(thread, pthread_self()));
}

TEST(ThreadedObjectTest, TheBodySeesItsObjectRunningWithAThread) {
  std::promise<Fields> seen;
  Worker worker([&](Worker& self) {
    seen.set_value(FieldsOf(self));
    return 0U;
  });
  worker.m_bRunning = false;
  worker.StartObjectThread(false, 0);
  EXPECT_EQ(ResultOf(seen), (Fields{.detached = false, .hasThread = true, .running = true}));
}

TEST(ThreadedObjectTest, StoppingTellsTheBodyToEndAndWaitsForIt) {
  std::atomic<bool> hasEnded{false};
  Worker worker([&](Worker& self) {
    PollRunning(self);
    std::this_thread::sleep_for(20ms);
    hasEnded = true;
    return 0U;
  });
  worker.StartObjectThread(false, 0);
  EXPECT_FALSE(hasEnded);
  EXPECT_EQ(CallsOf([&] { worker.StopObjectThread(); }), Strings{"pthread_join"});
  EXPECT_TRUE(hasEnded);
  EXPECT_EQ(FieldsOf(worker), (Fields{.detached = false, .hasThread = false, .running = false}));
}

TEST(ThreadedObjectTest, StoppingAnObjectThatWasNotStartedJoinsNothing) {
  Worker worker;
  EXPECT_EQ(CallsOf([&] { worker.StopObjectThread(); }), Strings{});
  EXPECT_FALSE(worker.m_bRunning);
}

TEST(ThreadedObjectTest, AStoppedObjectMayBeStartedAgain) {
  std::atomic<int> runs{0};
  Worker worker([&](Worker& self) {
    ++runs;
    return PollRunning(self);
  });
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(worker.StartObjectThread(false, 0));
    EXPECT_TRUE(worker.m_bRunning);
    worker.StopObjectThread();
  }
  EXPECT_EQ(runs, 3);
}

TEST(ThreadedObjectTest, JoiningWaitsForTheThreadOnceAndDoesNotStopTheObject) {
  Worker worker;
  worker.StartObjectThread(false, 0);
  EXPECT_EQ(CallsOf([&] { worker.JoinObjectThread(); }), Strings{"pthread_join"});
  EXPECT_EQ(FieldsOf(worker), (Fields{.detached = false, .hasThread = false, .running = true}));
  EXPECT_EQ(CallsOf([&] { worker.JoinObjectThread(); }), Strings{});
}

// Is stopped by the destructor of its base, so its body uses no members after it has begun.
class BareWorker : public ThreadedObject {
 public:
  explicit BareWorker(std::atomic<bool>& hasEnded) : m_hasEnded(hasEnded) {}

  std::uint32_t ObjectThreadMethod() override {
    std::atomic<bool>& hasEnded = m_hasEnded;
    m_hasBegun.set_value();
    while (m_bRunning) {
      std::this_thread::sleep_for(1ms);
    }
    std::this_thread::sleep_for(20ms);
    hasEnded = true;
    return 0;
  }

  using ThreadedObject::m_thread;

  std::promise<void> m_hasBegun;

 private:
  std::atomic<bool>& m_hasEnded;
};

TEST(ThreadedObjectTest, TheDestructorStopsAndJoinsAThreadThatWasStarted) {
  std::atomic<bool> hasEnded{false};
  auto worker = std::make_unique<BareWorker>(hasEnded);
  worker->StartObjectThread(false, 0);
  ResultOf(worker->m_hasBegun);
  EXPECT_EQ(CallsOf([&] { worker.reset(); }), Strings{"pthread_join"});
  EXPECT_TRUE(hasEnded);
  worker = std::make_unique<BareWorker>(hasEnded);
  EXPECT_EQ(CallsOf([&] { worker.reset(); }), Strings{});
}

TEST(ThreadedObjectTest, AFailedJoinThrowsOutOfTheDestructor) {
  std::atomic<bool> hasEnded{false};
  auto* const worker = new BareWorker(hasEnded);
  worker->StartObjectThread(false, 0);
  ResultOf(worker->m_hasBegun);
  // The thread must not outlive its object, so it is joined before the join that fails.
  const BeforeCall join(1, "pthread_join", [thread = worker->m_thread] {
    while (pthread_tryjoin_np(thread, nullptr) == EBUSY) {
      std::this_thread::sleep_for(1ms);
    }
  });
  const FailureOf failure("pthread_join", ESRCH);
  ExpectThrown([&] { delete worker; }, "pthread_join returned 3", 3);
  EXPECT_TRUE(hasEnded);
}

TEST(ThreadedObjectTest, TheRoutineReturnsTheResultOfTheBodyIn32Bits) {
  for (const std::uint32_t result : {0U, 1U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    Worker worker([result](Worker&) { return result; });
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(
                  ThreadedObject::ObjectThreadRoutine(static_cast<ThreadedObject*>(&worker))),
              std::uintptr_t{result});
  }
}

TEST(ThreadedObjectTest, ABodyThatThrowsAnythingHasTheResultZero) {
  struct Anything {};
  const std::vector<Worker::Body> bodies{
      [](Worker&) -> std::uint32_t { throw std::runtime_error("text"); },
      [](Worker&) -> std::uint32_t { throw StdSystemException(5, "text"); },
      [](Worker&) -> std::uint32_t { throw 7; }, [](Worker&) -> std::uint32_t { throw "text"; },
      [](Worker&) -> std::uint32_t { throw Anything(); }};
  for (const Worker::Body& body : bodies) {
    Worker direct(body);
    EXPECT_EQ(ThreadedObject::ObjectThreadRoutine(static_cast<ThreadedObject*>(&direct)), nullptr);
    Worker started(body);
    started.StartObjectThread(false, 0);
    EXPECT_EQ(ResultOfThread(started), 0U);
  }
}

TEST(ThreadedObjectTest, AThreadIsDetachedAfterItsCreation) {
  std::promise<void> end;
  auto* const worker = new Worker([](Worker&) { return 0U; }, [&](Worker&) { end.set_value(); });
  EXPECT_EQ(CallsOf([&] { EXPECT_TRUE(worker->StartObjectThread(true, 0)); }),
            (Strings{"pthread_attr_init", "pthread_create", "pthread_detach"}));
  ResultOf(end);
}

TEST(ThreadedObjectTest, ADetachedObjectDeletesItselfWhenItsBodyReturns) {
  std::promise<void> mayReturn;
  std::atomic<bool> hasReturned{false};
  std::promise<std::pair<bool, bool>> end;
  auto* const worker = new Worker(
      [&](Worker&) {
        mayReturn.get_future().wait();
        hasReturned = true;
        return 0U;
      },
      [&](Worker& self) {
        end.set_value({hasReturned, self.m_bRunning});
      });
  worker->StartObjectThread(true, 0);
  EXPECT_EQ(FieldsOf(*worker), (Fields{.detached = true, .hasThread = true, .running = true}));
  std::future<std::pair<bool, bool>> ended = end.get_future();
  EXPECT_EQ(ended.wait_for(50ms), std::future_status::timeout);
  mayReturn.set_value();
  EXPECT_EQ(ResultOf(ended), std::make_pair(true, false));
}

TEST(ThreadedObjectTest, StoppingADetachedObjectTellsItsBodyToEndAndDoesNotWait) {
  std::promise<void> mayReturn;
  std::promise<void> end;
  auto* const worker = new Worker(
      [&](Worker& self) {
        PollRunning(self);
        mayReturn.get_future().wait();
        return 0U;
      },
      [&](Worker&) { end.set_value(); });
  worker->StartObjectThread(true, 0);
  EXPECT_EQ(CallsOf([&] { worker->StopObjectThread(); }), Strings{});
  EXPECT_EQ(FieldsOf(*worker), (Fields{.detached = true, .hasThread = true, .running = false}));
  std::future<void> ended = end.get_future();
  EXPECT_EQ(ended.wait_for(20ms), std::future_status::timeout);
  mayReturn.set_value();
  ResultOf(ended);
}

TEST(ThreadedObjectTest, ADetachedObjectWhoseBodyThrowsDeletesItself) {
  std::promise<void> end;
  auto* const worker =
      new Worker([](Worker&) -> std::uint32_t { throw 7; }, [&](Worker&) { end.set_value(); });
  worker->StartObjectThread(true, 0);
  ResultOf(end);
}

TEST(ThreadedObjectTest, StartingDoesNotTouchADetachedObjectThatMayBeDeleted) {
  constexpr int kObjects = 200;
  std::atomic<int> ended{0};
  for (int i = 0; i < kObjects; ++i) {
    auto* const worker = new Worker([](Worker&) { return 0U; }, [&](Worker&) { ++ended; });
    EXPECT_TRUE(worker->StartObjectThread(true, 0));
  }
  ASSERT_TRUE(ComesTrue([&] { return ended == kObjects; }));
}

TEST(ThreadedObjectTest, TheBodyOfADetachedObjectBeginsAfterItsThreadIsDetached) {
  std::atomic<bool> hasBegun{false};
  std::promise<void> end;
  auto* const worker = new Worker(
      [&](Worker&) {
        hasBegun = true;
        return 0U;
      },
      [&](Worker&) { end.set_value(); });
  bool hadBegun = true;
  {
    const BeforeCall check(1, "pthread_detach", [&] {
      std::this_thread::sleep_for(20ms);
      hadBegun = hasBegun;
    });
    worker->StartObjectThread(true, 0);
  }
  ResultOf(end);
  EXPECT_FALSE(hadBegun);
}

// Returns the policy, the priority and the rule of inheritance.
std::vector<int> SchedulingOf(const pthread_attr_t& attributes) {
  int policy = -1;
  int inherit = -1;
  sched_param parameters{};
  pthread_attr_getschedpolicy(&attributes, &policy);
  pthread_attr_getschedparam(&attributes, &parameters);
  pthread_attr_getinheritsched(&attributes, &inherit);
  return {policy, parameters.sched_priority, inherit};
}

TEST(ThreadedObjectTest, OtherPrioritiesLeaveTheDefaultScheduling) {
  for (const int priority : {0, -1, 99, 100, INT_MAX, INT_MIN}) {
    Worker worker;
    EXPECT_EQ(CallsOf([&] { worker.StartObjectThread(false, priority); }),
              (Strings{"pthread_attr_init", "pthread_create"}))
        << priority;
    EXPECT_EQ(SchedulingOf(worker.m_attributes).back(), PTHREAD_INHERIT_SCHED) << priority;
  }
}

TEST(ThreadedObjectTest, APriorityFrom1To98IsSetUnchangedWithRoundRobin) {
  for (const int priority : {1, 50, 98}) {
    Worker worker;
    const FailureOf failure("pthread_create", EPERM);
    EXPECT_EQ(
        CallsOf([&] { worker.StartObjectThread(false, priority); }),
        (Strings{"pthread_attr_init", "pthread_attr_getschedpolicy", "pthread_attr_getschedparam",
                 "pthread_attr_setschedpolicy", "sched_get_priority_min", "sched_get_priority_max",
                 "pthread_attr_setschedparam", "pthread_attr_setinheritsched", "pthread_create"}));
    EXPECT_EQ(SchedulingOf(worker.m_attributes),
              (std::vector<int>{SCHED_RR, priority, PTHREAD_EXPLICIT_SCHED}));
  }
}

TEST(ThreadedObjectTest, APriorityIsNotLimitedToTheRangeOfTheSystem) {
  for (const char* bound : {"sched_get_priority_min", "sched_get_priority_max"}) {
    Worker worker;
    std::optional<FailureOf> result(std::in_place, bound, 60);
    const BeforeCall noThread(1, "pthread_attr_setinheritsched",
                              [&] { result.emplace("pthread_create", EPERM); });
    ExpectThrown([&] { worker.StartObjectThread(false, 50); }, "pthread_create returned 1", 1);
    EXPECT_EQ(SchedulingOf(worker.m_attributes),
              (std::vector<int>{SCHED_RR, 50, PTHREAD_EXPLICIT_SCHED}))
        << bound;
  }
}

TEST(ThreadedObjectTest, ABodyRunsWithThePriorityIfThatIsAllowed) {
  std::promise<std::pair<int, int>> scheduling;
  Worker worker([&](Worker&) {
    int policy = -1;
    sched_param parameters{};
    pthread_getschedparam(pthread_self(), &policy, &parameters);
    scheduling.set_value({policy, parameters.sched_priority});
    return 0U;
  });
  try {
    worker.StartObjectThread(false, 50);
  } catch (const StdSystemException& exception) {
    ASSERT_EQ(exception.GetCode(), EPERM);
    GTEST_SKIP() << "this machine forbids real-time scheduling";
  }
  EXPECT_EQ(ResultOf(scheduling), std::make_pair(SCHED_RR, 50));
}

// Runs `action` on a thread that may not use real-time scheduling.
void WithoutRealTime(const std::function<void()>& action) {
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_RTPRIO, &before), 0);
  const rlimit none{.rlim_cur = 0, .rlim_max = before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_RTPRIO, &none), 0);
  std::thread([&] {
    __user_cap_header_struct header{.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
    __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3]{};
    ASSERT_EQ(syscall(SYS_capget, &header, data), 0);
    data[0].effective &= ~(1U << CAP_SYS_NICE);
    ASSERT_EQ(syscall(SYS_capset, &header, data), 0);
    action();
  }).join();
  EXPECT_EQ(setrlimit(RLIMIT_RTPRIO, &before), 0);
}

TEST(ThreadedObjectTest, WithoutTheRightAPriorityFailsAndOtherPrioritiesStart) {
  WithoutRealTime([] {
    Worker worker;
    ExpectThrown([&] { worker.StartObjectThread(false, 50); }, "pthread_create returned 1", 1);
    EXPECT_EQ(FieldsOf(worker), (Fields{.detached = false, .hasThread = false, .running = true}));
    EXPECT_TRUE(worker.StartObjectThread(false, 99));
  });
}

TEST(ThreadedObjectTest, AFailedCallIsThrownAndNoOtherFollows) {
  const struct {
    const char* function;
    int code;
    const char* text;
  } rows[] = {{"pthread_attr_init", ENOMEM, "pthread_attr_init returned 12"},
              {"pthread_attr_getschedpolicy", EINVAL, "pthread_attr_setschedpolicy returned 22"},
              {"pthread_attr_getschedparam", EINVAL, "pthread_attr_getschedparam returned 22"},
              {"pthread_attr_setschedpolicy", ENOTSUP, "pthread_attr_setschedpolicy returned 95"},
              {"pthread_attr_setschedparam", ENOTSUP, "pthread_attr_setschedparam returned 95"},
              {"pthread_attr_setinheritsched", EINVAL, "pthread_attr_setinheritsched returned 22"},
              {"pthread_create", EAGAIN, "pthread_create returned 11"}};
  for (const auto& row : rows) {
    for (const bool detached : {false, true}) {
      SCOPED_TRACE(row.function);
      Worker worker;
      const FailureOf failure(row.function, row.code);
      const Strings calls = CallsOf([&] {
        ExpectThrown([&] { worker.StartObjectThread(detached, 50); }, row.text, row.code);
      });
      EXPECT_EQ(calls.back(), row.function);
      EXPECT_EQ(FieldsOf(worker),
                (Fields{.detached = detached, .hasThread = false, .running = true}));
    }
  }
}

TEST(ThreadedObjectTest, AfterAFailedDetachmentTheOwnerStillOwnsTheObject) {
  std::atomic<int> ended{0};
  {
    Worker worker([](Worker&) { return 5U; }, [&](Worker&) { ++ended; });
    const FailureOf failure("pthread_detach", EINVAL);
    ExpectThrown([&] { worker.StartObjectThread(true, 0); }, "pthread_detach returned 22", 22);
    EXPECT_EQ(ResultOfThread(worker), 5U);
    EXPECT_EQ(ended, 0);
  }
  EXPECT_EQ(ended, 1);
}

TEST(ThreadedObjectTest, AFailedJoinIsThrownAndKeepsTheThread) {
  Worker worker;
  worker.StartObjectThread(false, 0);
  {
    const FailureOf failure("pthread_join", ESRCH);
    ExpectThrown([&] { worker.JoinObjectThread(); }, "pthread_join returned 3", 3);
    ExpectThrown([&] { worker.StopObjectThread(); }, "pthread_join returned 3", 3);
  }
  EXPECT_EQ(FieldsOf(worker), (Fields{.detached = false, .hasThread = true, .running = false}));
}

}  // namespace
