#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <string>
#include <type_traits>
#include <vector>

#include "framework/logging/LogFile.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/RealFunction.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

// The pieces that a thread writes, and how the system limits them.
struct Writing {
  std::vector<std::string> pieces;
  std::size_t longestPiece = 1000000;
  int interruptions = 0;  // before the first piece
};

thread_local Writing* observed = nullptr;

}  // namespace

extern "C" ssize_t write(int descriptor, const void* data, std::size_t size) {
  static const auto real = RealFunction(&write, "write");
  if (observed == nullptr) {
    return real(descriptor, data, size);
  }
  if (observed->interruptions > 0) {
    --observed->interruptions;
    errno = EINTR;
    return -1;
  }
  const std::size_t taken = std::min(size, observed->longestPiece);
  observed->pieces.emplace_back(static_cast<const char*>(data), taken);
  return real(descriptor, data, taken);
}

namespace {

// Writes a line to a new file under the limits of `writing`, and returns the content of the file.
std::string WriteLine(Writing& writing, const std::string& line) {
  const TemporaryDirectory directory;
  fwk::LogFile file(directory.Path("a.log"));
  observed = &writing;
  file.WriteLine(line);
  observed = nullptr;
  return directory.Read("a.log");
}

mode_t PermissionsOfNewFile(mode_t mask) {
  const TemporaryDirectory directory;
  const mode_t before = umask(mask);
  const fwk::LogFile file(directory.Path("new.log"));
  umask(before);
  struct stat status {};
  EXPECT_EQ(stat(directory.Path("new.log").c_str(), &status), 0);
  return status.st_mode & 07777;
}

}  // namespace

TEST(LogFileTest, ANewFileMayBeReadAndWrittenByAllWhomTheMaskPermits) {
  EXPECT_EQ(PermissionsOfNewFile(0), 0666U);
  EXPECT_EQ(PermissionsOfNewFile(0022), 0644U);
  EXPECT_EQ(PermissionsOfNewFile(0077), 0600U);
}

TEST(LogFileTest, ItCannotBeCopiedOrMovedAndHasAVirtualDestructor) {
  using File = fwk::LogFile;
  EXPECT_FALSE(std::is_copy_constructible_v<File> || std::is_move_constructible_v<File>);
  EXPECT_FALSE(std::is_copy_assignable_v<File> || std::is_move_assignable_v<File>);
  EXPECT_TRUE(std::has_virtual_destructor_v<File>);
}

TEST(LogFileTest, ALineAndItsLineFeedAreWrittenInOnePiece) {
  Writing writing;
  const std::string line(100000, 'x');
  EXPECT_EQ(WriteLine(writing, line), line + "\n");
  EXPECT_EQ(writing.pieces, std::vector<std::string>{line + "\n"});
}

TEST(LogFileTest, ALineThatTheSystemTakesInPartsIsWrittenCompletely) {
  Writing writing{.pieces = {}, .longestPiece = 3};
  EXPECT_EQ(WriteLine(writing, "one two"), "one two\n");
  EXPECT_EQ(writing.pieces, (std::vector<std::string>{"one", " tw", "o\n"}));
}

TEST(LogFileTest, AnInterruptedWriteIsRepeated) {
  Writing writing{.pieces = {}, .interruptions = 2};
  EXPECT_EQ(WriteLine(writing, "text"), "text\n");
  EXPECT_EQ(writing.interruptions, 0);
}

TEST(LogFileTest, ALineIsWrittenWithALineFeed) {
  const TemporaryDirectory directory;
  fwk::LogFile file(directory.Path("a.log"));
  file.WriteLine("one");
  file.WriteLine("");
  file.WriteLine("two %s");
  EXPECT_EQ(directory.Read("a.log"), "one\n\ntwo %s\n");  // without waiting for Close()
}

TEST(LogFileTest, ATextIsWrittenUnchanged) {
  const TemporaryDirectory directory;
  fwk::LogFile file(directory.Path("log"));
  file.Write("a\nb");
  file.Write("");
  file.Write("c\n");
  EXPECT_EQ(directory.Read("log"), "a\nbc\n");
}

TEST(LogFileTest, AnExistingFileIsAppendedTo) {
  const TemporaryDirectory directory;
  directory.Write("a.log", "old\n");
  fwk::LogFile(directory.Path("a.log")).WriteLine("new");
  EXPECT_EQ(directory.Read("a.log"), "old\nnew\n");
}

TEST(LogFileTest, LinesOfAnotherWriterAreKept) {
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
