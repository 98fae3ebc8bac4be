#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "framework/logging/LogFile.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

std::ptrdiff_t OpenDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

}  // namespace

TEST(LogFileTest, AnAbsentFileIsCreated) {
  const TemporaryDirectory directory;
  const fwk::LogFile file(directory.Path("new.log"));
  EXPECT_TRUE(std::filesystem::exists(directory.Path("new.log")));
}

TEST(LogFileTest, ALineIsWrittenWithALineFeed) {
  const TemporaryDirectory directory;
  fwk::LogFile file(directory.Path("a.log"));
  file.WriteLine("one");
  file.WriteLine("");
  file.WriteLine("two %s");
  EXPECT_EQ(directory.Read("a.log"), "one\n\ntwo %s\n");  // without waiting for Close()
}

TEST(LogFileTest, AnExistingFileIsAppendedTo) {
  const TemporaryDirectory directory;
  directory.Write("a.log", "old\n");
  fwk::LogFile(directory.Path("a.log")).WriteLine("new");
  EXPECT_EQ(directory.Read("a.log"), "old\nnew\n");
}

TEST(LogFileTest, WhatAnotherWriterAppendsMeanwhileStays) {
  const TemporaryDirectory directory;
  fwk::LogFile first(directory.Path("a.log"));
  fwk::LogFile second(directory.Path("a.log"));
  first.WriteLine("1");
  second.WriteLine("2");
  first.WriteLine("3");
  EXPECT_EQ(directory.Read("a.log"), "1\n2\n3\n");
}

TEST(LogFileTest, TheDestructorClosesTheFile) {
  const TemporaryDirectory directory;
  const std::ptrdiff_t before = OpenDescriptors();
  {
    const fwk::LogFile file(directory.Path("a.log"));
    EXPECT_EQ(OpenDescriptors(), before + 1);
  }
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST(LogFileTest, CloseClosesTheFileAndMayBeRepeated) {
  const TemporaryDirectory directory;
  const std::ptrdiff_t before = OpenDescriptors();
  fwk::LogFile file(directory.Path("a.log"));
  file.Close();
  EXPECT_EQ(OpenDescriptors(), before);
  file.Close();
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST(LogFileTest, ALineAfterCloseIsLost) {
  const TemporaryDirectory directory;
  fwk::LogFile file(directory.Path("a.log"));
  file.WriteLine("kept");
  file.Close();
  EXPECT_NO_THROW(file.WriteLine("lost"));
  EXPECT_EQ(directory.Read("a.log"), "kept\n");
}

TEST(LogFileTest, AFileThatCannotBeOpenedLosesItsLines) {
  const TemporaryDirectory directory;
  for (const std::string& path : {directory.Path("missing/a.log"), directory.Path()}) {
    EXPECT_NO_THROW({
      fwk::LogFile file(path);
      file.WriteLine("lost");
      file.Close();
    });
  }
  EXPECT_TRUE(std::filesystem::is_empty(directory.Path()));
}

TEST(LogFileTest, AFileThatCannotBeWrittenLosesItsLines) {
  EXPECT_NO_THROW(fwk::LogFile("/dev/full").WriteLine("lost"));
}
