#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "framework/core/Exceptions.h"
#include "programs/spf-bulk/HangUp.h"
#include "programs/spf-bulk/LineSource.h"
#include "tests/support/FailureText.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

// An open file.
class OpenFile {
 public:
  explicit OpenFile(const std::string& content) {
    m_directory.Write("file", content);
    m_descriptor = open(m_directory.Path("file").c_str(), O_RDONLY | O_CLOEXEC);
  }
  ~OpenFile() { close(m_descriptor); }

  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  int GetDescriptor() const { return m_descriptor; }

 private:
  TemporaryDirectory m_directory;
  int m_descriptor;
};

std::vector<std::string> ReadAll(LineSource& source) {
  std::vector<std::string> lines;
  std::string_view line;
  while (source.Next(line)) {
    lines.emplace_back(line);
  }
  return lines;
}

TEST(LineSourceTest, OnlyALineFeedEndsALine) {
  const OpenFile file(std::string("a\0b\r\n\n\xff\n", 8));
  LineSource source(file.GetDescriptor(), 100, "file", -1);
  EXPECT_EQ(ReadAll(source), (std::vector<std::string>{std::string("a\0b\r", 4), "", "\xff"}));
  EXPECT_TRUE(source.HasLineFeed());
  EXPECT_EQ(source.GetLines(), 3U);
  EXPECT_EQ(source.GetBytes(), 8U);
}

TEST(LineSourceTest, TheLastLineNeedsNoLineFeed) {
  const OpenFile file("a\nb");
  LineSource source(file.GetDescriptor(), 100, "file", -1);
  EXPECT_EQ(ReadAll(source), (std::vector<std::string>{"a", "b"}));
  EXPECT_FALSE(source.HasLineFeed());
  EXPECT_EQ(source.GetBytes(), 3U);
}

TEST(LineSourceTest, AnEmptySourceHasNoLine) {
  const OpenFile file("");
  LineSource source(file.GetDescriptor(), 100, "file", -1);
  EXPECT_EQ(ReadAll(source), std::vector<std::string>{});
  EXPECT_TRUE(source.HasLineFeed());
}

TEST(LineSourceTest, OnlyTheBeginningOfALongLineIsKept) {
  for (const std::size_t size : {9U, 10U, 11U, 65535U, 65536U, 65537U, 1U << 20}) {
    const std::string line = std::string(8, 'x') + std::string(size - 8, 'y');
    const OpenFile file("first\n" + line + "\nlast\n");
    LineSource source(file.GetDescriptor(), 10, "file", -1);
    EXPECT_EQ(ReadAll(source), (std::vector<std::string>{"first", line.substr(0, 10), "last"}))
        << size;
    EXPECT_EQ(source.GetBytes(), size + 12);
  }
}

TEST(LineSourceTest, ALineMayArriveInPieces) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  LineSource source(ends[0], 100, "pipe", -1);
  std::thread writer([&] {
    for (const char* piece : {"on", "e\ntw", "o\nth"}) {
      EXPECT_GT(write(ends[1], piece, std::string(piece).size()), 0);
      usleep(10000);
    }
    close(ends[1]);
  });
  EXPECT_EQ(ReadAll(source), (std::vector<std::string>{"one", "two", "th"}));
  writer.join();
  close(ends[0]);
}

TEST(LineSourceTest, ItKnowsWhetherALineIsBuffered) {
  const OpenFile file("a\nb\nc");
  LineSource source(file.GetDescriptor(), 100, "file", -1);
  std::string_view line;
  EXPECT_FALSE(source.IsBuffered());
  source.Next(line);
  EXPECT_TRUE(source.IsBuffered());
  source.Next(line);
  EXPECT_FALSE(source.IsBuffered());
}

TEST(LineSourceTest, AHangUpEndsTheReading) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  HangUp hangUp;
  LineSource source(ends[0], 100, "pipe", hangUp.GetDescriptor());
  std::thread other([&] {
    usleep(10000);
    hangUp.Tell();
  });
  std::string_view line;
  EXPECT_FALSE(source.Next(line));
  other.join();
  close(ends[0]);
  close(ends[1]);
}

TEST(LineSourceTest, ASourceThatCannotBeReadIsNamed) {
  const int descriptor = open("/", O_RDONLY | O_CLOEXEC);
  LineSource source(descriptor, 100, "this", -1);
  std::string_view line;
  EXPECT_EQ(FailureText<StdException>([&] { source.Next(line); }),
            "cannot read this: Is a directory");
  close(descriptor);
}

}  // namespace
