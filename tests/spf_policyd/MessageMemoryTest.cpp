#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "programs/spf-policyd/MessageMemory.h"

namespace {

std::string ActionOf(const MessageMemory& memory, const std::string& message) {
  const auto answer = memory.Find(message);
  return answer ? answer->recipient + ": " + answer->action : "nothing";
}

}  // namespace

TEST(MessageMemoryTest, ItHasTheAnswerForTheFirstRecipient) {
  MessageMemory memory;
  EXPECT_EQ(ActionOf(memory, "1"), "nothing");
  memory.Keep("1", {"jane", "DUNNO"});
  memory.Keep("2", {"joe", "550"});
  memory.Keep("1", {"other", "other"});
  EXPECT_EQ(ActionOf(memory, "1"), "jane: DUNNO");
  EXPECT_EQ(ActionOf(memory, "2"), "joe: 550");
  EXPECT_EQ(ActionOf(memory, "12"), "nothing");
}

TEST(MessageMemoryTest, AMessageWithoutANameIsNotRemembered) {
  MessageMemory memory;
  memory.Keep("", {"jane", "DUNNO"});
  EXPECT_EQ(ActionOf(memory, ""), "nothing");
}

TEST(MessageMemoryTest, AtItsLimitItForgetsTheOldestMessage) {
  MessageMemory memory;
  const auto name = [](std::size_t i) { return std::to_string(i); };
  for (std::size_t i = 0; i < MessageMemory::kMaxMessages + 10; ++i) {
    memory.Keep(name(i), {"jane", "DUNNO"});
  }
  EXPECT_EQ(ActionOf(memory, name(0)), "nothing");
  EXPECT_EQ(ActionOf(memory, name(9)), "nothing");
  EXPECT_EQ(ActionOf(memory, name(10)), "jane: DUNNO");
  EXPECT_EQ(ActionOf(memory, name(MessageMemory::kMaxMessages + 9)), "jane: DUNNO");
}

TEST(MessageMemoryTest, ThreadsMayShareIt) {
  MessageMemory memory;
  std::vector<std::jthread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&memory, thread] {
      for (std::size_t i = 0; i < MessageMemory::kMaxMessages / 4; ++i) {
        const std::string name = std::to_string(thread) + "." + std::to_string(i);
        memory.Keep(name, {name, "DUNNO"});
        EXPECT_EQ(ActionOf(memory, name), name + ": DUNNO");
      }
    });
  }
}
