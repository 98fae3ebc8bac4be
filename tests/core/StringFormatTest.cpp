#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

#include "framework/core/StringFormat.h"
#include "tests/support/Threads.h"

namespace {

void* FormatOnThisThread(void* text) {
  *static_cast<std::string*>(text) = StringFormat("%d", 42).GetString();
  return nullptr;
}

// Returns what StringFormat makes on a thread with `stackSize` bytes of stack.
std::string FormatWithStack(std::size_t stackSize) {
  std::string text;
  pthread_attr_t attributes;
  pthread_t thread;
  if (pthread_attr_init(&attributes) != 0 ||
      pthread_attr_setstacksize(&attributes, stackSize) != 0 ||
      pthread_create(&thread, &attributes, FormatOnThisThread, &text) != 0) {
    return "no thread";
  }
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  return text;
}

TEST(StringFormatTest, ItFormatsAsPrintfDoes) {
  EXPECT_EQ(
      StringFormat("%s:%d [%3u] %05.1f%% %c 0x%x", "host", -53, 7U, 2.25, '!', 255U).GetString(),
      "host:-53 [  7] 002.2% ! 0xff");
}

TEST(StringFormatTest, AFormatWithoutConversionsIsTheText) {
  EXPECT_EQ(StringFormat("no conversion at all\n").GetString(), "no conversion at all\n");
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-zero-length"
TEST(StringFormatTest, AnEmptyFormatIsAnEmptyText) {
  EXPECT_EQ(StringFormat("").GetString(), "");
}
#pragma GCC diagnostic pop

TEST(StringFormatTest, OutputPastTheBufferIsCutSilently) {
  constexpr std::size_t kLimit = 1048575;
  const std::string whole = std::string(kLimit - 2, 'a') + "bcde";
  for (const std::size_t produced : {kLimit - 1, kLimit, kLimit + 1, kLimit + 2}) {
    EXPECT_TRUE(StringFormat("%s", whole.substr(0, produced).c_str()).GetString() ==
                whole.substr(0, std::min(produced, kLimit)))
        << produced;
  }
  EXPECT_EQ(StringFormat("%2000000d", 7).GetString().size(), kLimit);
}

TEST(StringFormatTest, AZeroByteInTheOutputEndsTheText) {
  EXPECT_EQ(StringFormat("ab%ccd", 0).GetString(), "ab");
  EXPECT_EQ(StringFormat("%cab", 0).GetString(), "");
}

TEST(StringFormatTest, TheTextOutlivesTheArguments) {
  std::string argument = "an argument that is too long to be kept inside";
  const StringFormat format("%s", argument.c_str());
  argument.assign(argument.size(), 'x');
  EXPECT_EQ(format.GetString(), "an argument that is too long to be kept inside");
}

TEST(StringFormatTest, ItIsDestroyedThroughItsBase) {
  EXPECT_TRUE(std::has_virtual_destructor_v<StringFormat>);
}

TEST(StringFormatTest, ThreadsFormatAtTheSameTime) {
  std::vector<std::string> texts(4);
  OnThreads(texts.size(), [&](std::size_t i) {
    for (int round = 0; round < 50; ++round) {
      texts[i] = StringFormat("thread %zu round %d", i, round).GetString();
    }
  });
  EXPECT_EQ(texts, (std::vector<std::string>{"thread 0 round 49", "thread 1 round 49",
                                             "thread 2 round 49", "thread 3 round 49"}));
}

TEST(StringFormatTest, AThreadWithMoreThanAMebibyteOfStackFormats) {
  EXPECT_EQ(FormatWithStack(std::size_t{2} << 20), "42");
}

TEST(StringFormatDeathTest, TheBufferLivesOnTheStackOfTheThreadThatFormats) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(FormatWithStack(std::size_t{512} << 10), "");
}

}  // namespace
