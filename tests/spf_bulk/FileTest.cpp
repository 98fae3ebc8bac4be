// The files of spf-bulk, and those that it cannot use.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/spf_bulk/BulkRunTest.h"
#include "tests/support/SmallDisk.h"

namespace {

const std::string kLine = "pass.test,192.0.2.1,\n";

struct Refusal {
  const char* name;
  std::vector<std::string> arguments;
  std::string said;
};

using FileTest = BulkRunTest;

class RefusalTest : public BulkRunTest, public testing::WithParamInterface<Refusal> {};

TEST_P(RefusalTest, NothingIsChanged) {
  m_directory.Write("in.csv", kLine);
  m_directory.Write("full.csv", "old\n");
  std::filesystem::create_hard_link(m_directory.Path("in.csv"), m_directory.Path("same.csv"));
  std::filesystem::create_directory(m_directory.Path("folder"));
  const ChildResult result = m_directory.Run(GetParam().arguments);
  EXPECT_EQ(result.standardOutput, "");
  ExpectEnd(result, 2, GetParam().said);
  EXPECT_EQ(m_directory.Read("in.csv"), kLine);
  EXPECT_EQ(m_directory.Read("full.csv"), "old\n");
}

INSTANTIATE_TEST_SUITE_P(
    Files, RefusalTest,
    testing::Values(
        Refusal{"NoSuchInput", {"none.csv"}, "cannot open none.csv: No such file or directory"},
        Refusal{"EmptyName", {""}, "cannot open : No such file or directory"},
        Refusal{"ADirectoryAsInput", {"folder"}, "cannot read folder: Is a directory"},
        Refusal{"ADirectoryAsOutput",
                {"--output", "folder", "in.csv"},
                "cannot open folder: Is a directory"},
        Refusal{"NoSuchDirectory",
                {"--errors", "none/errors", "in.csv"},
                "cannot open none/errors: No such file or directory"},
        Refusal{"AnOutputThatIsNotEmpty",
                {"--output", "full.csv", "in.csv"},
                "full.csv is not empty: go on with --resume, or remove it"},
        Refusal{"TheInputAsOutput",
                {"--output", "in.csv", "in.csv"},
                "the output is the input: in.csv"},
        Refusal{"TheInputAsOutputByAnotherName",
                {"--output", "same.csv", "--resume", "in.csv"},
                "the output is the input: same.csv"},
        Refusal{"TheInputAsErrorsFile",
                {"--errors", "in.csv", "in.csv"},
                "the errors file is the input: in.csv"},
        Refusal{"TheOutputAsErrorsFile",
                {"--output", "new", "--errors", "./new", "in.csv"},
                "the errors file is the output: ./new"},
        Refusal{"ResumingWithoutARegularFile",
                {"--output", "/dev/null", "--resume", "in.csv"},
                "to resume, output and errors file must be regular files"}),
    NameOfRow<Refusal>);

TEST_F(FileTest, StandardOutputMayNotBeTheErrorsFile) {
  m_directory.Write("in.csv", kLine);
  const ChildResult result =
      m_directory.Start("exec \"$@\" > both", {"--errors", "both", "in.csv"}).Wait();
  ExpectEnd(result, 2, "the errors file is the output: both");
}

TEST_F(FileTest, TwoRunsDoNotShareAnOutputOrAnErrorsFile) {
  m_directory.Write("in.csv", Lines({"pass.test,192.0.2.1,", "silent.test,192.0.2.1,"}));
  const ChildProcess first = m_directory.Start("exec \"$@\"", {"--output", "out.csv", "in.csv"});
  WaitForQuestion("silent.test");
  usleep(300000);  // so that the first line is done
  ExpectEnd(m_directory.Run({"--output", "out.csv", "--errors", "e", "--resume", "in.csv"}), 2,
            "out.csv is in use by another run");
  ExpectEnd(m_directory.Run({"--output", "out.csv", "in.csv"}), 2,
            "out.csv is in use by another run");
  ExpectEnd(m_directory.Run({"in.csv"}), 2, "spf-bulk.errors is in use by another run");
}

TEST_F(FileTest, ADeviceIsNeitherLockedNorCut) {
  m_directory.Write("in.csv", "x\nsilent.test,192.0.2.1,\n");
  const std::vector<std::string> arguments = {"--time-limit", "1",         "--output", "/dev/null",
                                              "--errors",     "/dev/null", "in.csv"};
  ChildProcess first = m_directory.Start("exec \"$@\"", arguments);
  EXPECT_EQ(m_directory.Run(arguments).exitStatus, 1);
  EXPECT_EQ(first.Wait().exitStatus, 1);
}

TEST_F(FileTest, AFullDeviceAsOutputEndsTheRun) {
  m_directory.Write("in.csv", kLine);
  ExpectEnd(m_directory.Start("exec \"$@\" > /dev/full", {"in.csv"}).Wait(), 2,
            "cannot write to standard output: No space left on device");
  ExpectEnd(m_directory.Run({"--output", "/dev/full", "in.csv"}), 2,
            "cannot write to /dev/full: No space left on device");
}

TEST_F(FileTest, AFileThatMayNotGrowEndsTheRun) {
  m_directory.Write("in.csv", Repeat(kLine, 100));
  const std::vector<std::string> arguments = {"--output", "out.csv", "--resume", "in.csv"};
  ExpectEnd(m_directory.Start("ulimit -f 1; exec \"$@\"", arguments).Wait(), 2,
            "cannot write to out.csv: File too large; go on with --resume");
  ExpectEnd(m_directory.Run(arguments), 0, "100 lines: 100 passed, 0 failed, 0 error, 0 malformed");
}

TEST_F(FileTest, AClosedPipeEndsTheRun) {
  m_directory.Write("in.csv", kLine);
  const ChildResult result =
      m_directory.Start("{ sleep 0.1; \"$@\" in.csv; echo $? > status; } | :", {}).Wait();
  EXPECT_EQ(m_directory.Read("status"), "2\n");
  EXPECT_EQ(result.standardError, "spf-bulk: cannot write to standard output: Broken pipe\n");
}

TEST_F(FileTest, AnInputThatCannotBeReadEndsTheRun) {
  const ChildResult result = m_directory.Start("exec \"$@\" < .", {}).Wait();
  ExpectEnd(result, 2, "cannot read standard input: Is a directory");
}

TEST_F(FileTest, AClosedStreamIsNotReplacedByAnotherFile) {
  m_directory.Write("in.csv", kLine);
  ExpectEnd(m_directory.Start("exec \"$@\" >&-", {"in.csv"}).Wait(), 2,
            "cannot write to standard output: Bad file descriptor");
  ExpectEnd(m_directory.Start("exec \"$@\" <&-", {}).Wait(), 2,
            "cannot read standard input: Bad file descriptor");
  EXPECT_EQ(m_directory.Start("exec \"$@\" 2>&-", {"in.csv"}).Wait().standardOutput,
            "pass.test,192.0.2.1,,passed\n");
}

TEST_F(FileTest, AnOutputThatIsRefusedLeavesNoErrorsFile) {
  m_directory.Write("in.csv", kLine);
  m_directory.Write("out.csv", "old\n");
  EXPECT_EQ(m_directory.Run({"--output", "out.csv", "in.csv"}).exitStatus, 2);
  EXPECT_FALSE(std::filesystem::exists(m_directory.Path("spf-bulk.errors")));
}

TEST_F(FileTest, TheErrorsFileIsWrittenBeforeTheOutput) {
  m_directory.Write("in.csv", kLine + Repeat("malformed\n", 5000));
  const std::string errors = m_directory.Path("errors");
  ASSERT_EQ(mkfifo(errors.c_str(), 0600), 0);
  const int reader = open(errors.c_str(), O_RDWR | O_CLOEXEC);
  fcntl(reader, F_SETPIPE_SZ, 4096);
  ChildProcess run =
      m_directory.Start("exec \"$@\"", {"--output", "out.csv", "--errors", "errors", "in.csv"});
  WaitForQuestion("pass.test");
  usleep(300000);  // nobody reads the errors, so they are not all written
  EXPECT_EQ(m_directory.Read("out.csv"), "");
  close(reader);
  EXPECT_EQ(run.Wait().exitStatus, 2);
}

// The parameter: the file that is on the disk.
class FullDiskTest : public BulkRunTest, public testing::WithParamInterface<const char*> {};

TEST_P(FullDiskTest, ARunThatFilledADiskCanBeResumed) {
  const SmallDisk disk;
  std::string input;
  std::string output;
  std::string errors;
  for (int i = 1; i <= 1000; ++i) {
    const bool isMalformed = i % 3 == 0;
    const std::string line = isMalformed ? "malformed" : "pass.test,192.0.2.1,";
    input += line + "\n";
    (isMalformed ? errors : output) +=
        isMalformed ? std::to_string(i) + ",not three fields,malformed\n" : line + ",passed\n";
  }
  m_directory.Write("in.csv", input);
  std::filesystem::create_symlink(disk.Path() + "/file", m_directory.Path(GetParam()));
  const std::vector<std::string> arguments = {"--output", "out",      "--errors",
                                              "errors",   "--resume", "in.csv"};
  ExpectEnd(m_directory.Run(arguments), 2,
            std::string("cannot write to ") + GetParam() +
                ": No space left on device; go on with --resume");
  disk.Grow();
  EXPECT_EQ(m_directory.Run(arguments).exitStatus, 1);
  EXPECT_EQ(m_directory.Read("out"), output);
  EXPECT_EQ(m_directory.Read("errors"), errors);
}

INSTANTIATE_TEST_SUITE_P(Files, FullDiskTest, testing::Values("out", "errors"),
                         [](const auto& file) { return std::string(file.param); });

}  // namespace
