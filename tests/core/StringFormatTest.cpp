#include <gtest/gtest.h>
#include <pthread.h>

#include <cstddef>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "framework/core/StringFormat.h"

namespace {

constexpr std::size_t kLimit = 1048575;

void* FormatOnThisThread(void* text) {
  *static_cast<std::string*>(text) = StringFormat("%d", 42).GetString();
  return nullptr;
}

// What StringFormat gives on a thread with so much stack.
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

TEST(StringFormatTest, AFormatTakesItsArgumentsAsPrintfDoes) {
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
  const struct {
    int produced;
    std::size_t kept;
  } rows[] = {
      {1048574, 1048574}, {1048575, kLimit}, {1048576, kLimit},
      {1048577, kLimit},  {2000000, kLimit},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.produced);
    const std::string text = StringFormat("%*d", row.produced, 7).GetString();
    ASSERT_EQ(text.size(), row.kept);
    const std::size_t last = row.kept - 1;
    const bool whole = row.kept == static_cast<std::size_t>(row.produced);
    EXPECT_EQ(text[last], whole ? '7' : ' ');
    EXPECT_EQ(text.find_first_not_of(' '), whole ? last : std::string::npos);
  }
}

TEST(StringFormatTest, TheFirstCharactersOfALongOutputAreKept) {
  const std::string argument = std::string(kLimit - 2, 'a') + "bcde";
  EXPECT_TRUE(StringFormat("%s", argument.c_str()).GetString() ==
              std::string(kLimit - 2, 'a') + "bc");
}

TEST(StringFormatTest, AZeroByteFromACharacterConversionEndsTheText) {
  EXPECT_EQ(StringFormat("ab%ccd", 0).GetString(), "ab");
  EXPECT_EQ(StringFormat("%cab", 0).GetString(), "");
}

TEST(StringFormatTest, TheTextIsHandedOutAsACopy) {
  const StringFormat format("%s", "text");
  std::string first = format.GetString();
  first += " that grew";
  EXPECT_EQ(format.GetString(), "text");
  static_assert(std::is_same_v<decltype(format.GetString()), std::string>);
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

TEST(StringFormatTest, ThreadsFormatAtTheSameTimeWithBuffersOfTheirOwn) {
  std::vector<std::string> texts(4);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    threads.emplace_back([&text = texts[i], i] {
      for (int round = 0; round < 50; ++round) {
        text = StringFormat("thread %zu round %d", i, round).GetString();
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
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
