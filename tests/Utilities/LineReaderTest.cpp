#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

#include "framework/Utilities/LineReader.h"
#include "tests/support/FailingFile.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

using namespace std::string_literals;

using Lines = std::vector<std::string>;

// Returns the lines of a file with this content, but at most 100.
Lines LinesOf(const std::string& content, std::size_t limit) {
  const TemporaryDirectory directory;
  directory.Write("file", content);
  LineReader reader(directory.Path("file"), limit);
  EXPECT_TRUE(reader.IsOpen());
  Lines lines;
  std::string line;
  while (lines.size() < 100 && reader.Next(line)) {
    lines.push_back(line);
  }
  EXPECT_FALSE(reader.HasFailed());
  return lines;
}

TEST(LineReaderTest, LinesAreReturnedWithoutTheirLineFeeds) {
  const struct {
    std::string content;
    Lines lines;
  } rows[] = {
      {"", {}},
      {"\n", {""}},
      {"a", {"a"}},
      {"a\n", {"a"}},
      {"a\nb", {"a", "b"}},
      {"a\n\nb\n", {"a", "", "b"}},
      {"\n\n", {"", ""}},
      {" a \r\n\tb\r\n", {" a \r", "\tb\r"}},
      {"a\0b\n\xff\nc"s, {"a\0b"s, "\xff", "c"}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(LinesOf(row.content, 1024), row.lines) << row.content;
  }
}

TEST(LineReaderTest, TheRestOfALongLineIsDroppedUpToItsLineFeed) {
  const struct {
    std::string content;
    Lines lines;
  } rows[] = {
      {"abc\nd\n", {"abc", "d"}},        {"abcd\ne\n", {"abcd", "e"}},
      {"abcde\nf\n", {"abcd", "f"}},     {"abcdefghijkl\nm\n", {"abcd", "m"}},
      {"abcdefghijkl", {"abcd"}},        {"abcde\nabcdef\n", {"abcd", "abcd"}},
      {"abcde\n\nx", {"abcd", "", "x"}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(LinesOf(row.content, 4), row.lines) << row.content;
  }
}

TEST(LineReaderTest, ALineIsCutAtTheLimitWhateverItsLength) {
  for (const std::size_t length : {1024U, 1025U, 3000000U}) {
    EXPECT_EQ(LinesOf(std::string(length, 'a') + "\nb", 1024), (Lines{std::string(1024, 'a'), "b"}))
        << length;
  }
}

TEST(LineReaderTest, ALimitOfZeroKeepsNothingOfALine) {
  EXPECT_EQ(LinesOf("abc\nd\n", 0), (Lines{"", ""}));
}

TEST(LineReaderTest, WithoutALimitALineIsKeptWhole) {
  EXPECT_EQ(LinesOf(std::string(3000000, 'a') + "\nb", LineReader::kNoLimit),
            (Lines{std::string(3000000, 'a'), "b"}));
}

TEST(LineReaderTest, ItCannotBeCopiedAndItsDestructorClosesTheFile) {
  EXPECT_FALSE(std::is_copy_constructible_v<LineReader>);
  const TemporaryDirectory directory;
  directory.Write("file", "a");
  const std::ptrdiff_t before = OpenDescriptors();
  {
    const LineReader reader(directory.Path("file"), 10);
    EXPECT_EQ(OpenDescriptors(), before + 1);
  }
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST(LineReaderTest, AfterTheLastLineTheTextIsEmpty) {
  const TemporaryDirectory directory;
  directory.Write("file", "a");
  LineReader reader(directory.Path("file"), 10);
  std::string line;
  EXPECT_TRUE(reader.Next(line));
  for (int i = 0; i < 2; ++i) {
    line = "left";
    EXPECT_FALSE(reader.Next(line));
    EXPECT_EQ(line, "");
  }
  EXPECT_FALSE(reader.HasFailed());
}

TEST(LineReaderTest, AMissingFileIsNotOpenAndErrnoSaysWhy) {
  const TemporaryDirectory directory;
  const std::string path = directory.Path("missing");
  errno = 0;
  LineReader reader(path, 10);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(reader.IsOpen());
  std::string line = "left";
  EXPECT_FALSE(reader.Next(line));
  EXPECT_EQ(line, "");
  EXPECT_FALSE(reader.HasFailed());
}

TEST(LineReaderTest, AFailedReadEndsTheLinesAndIsReported) {
  const TemporaryDirectory directory;  // opens for reading, but cannot be read
  LineReader reader(directory.Path(), 10);
  EXPECT_TRUE(reader.IsOpen());
  EXPECT_FALSE(reader.HasFailed());
  std::string line = "left";
  EXPECT_FALSE(reader.Next(line));
  EXPECT_EQ(line, "");
  EXPECT_TRUE(reader.HasFailed());
  EXPECT_FALSE(reader.Next(line));
}

// The part of the line that had been read was returned as a whole line.
TEST(LineReaderTest, AReadThatFailsWithinALineReturnsNoPartOfIt) {
  const FailingFile file("whole\npart");
  LineReader reader(file.Path(), 10);
  std::string line;
  EXPECT_TRUE(reader.Next(line));
  EXPECT_EQ(line, "whole");
  EXPECT_FALSE(reader.HasFailed());
  EXPECT_FALSE(reader.Next(line));
  EXPECT_EQ(line, "");
  EXPECT_TRUE(reader.HasFailed());
}

}  // namespace
