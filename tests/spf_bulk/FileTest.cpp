// What spf-bulk does with the files that it is given, and with those that it cannot use.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/spf_bulk/BulkDirectory.h"
#include "tests/spf_bulk/BulkServer.h"
#include "tests/support/SmallDisk.h"

namespace {

const std::string kLine = "pass.test,192.0.2.1,\n";

struct Refusal {
  const char* name;
  std::vector<std::string> arguments;
  std::string said;
};

class RefusalTest : public testing::TestWithParam<Refusal> {};

TEST_P(RefusalTest, NothingIsChanged) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in.csv", kLine);
  directory.Write("full.csv", "old\n");
  std::filesystem::create_hard_link(directory.Path("in.csv"), directory.Path("same.csv"));
  std::filesystem::create_directory(directory.Path("folder"));
  const ChildResult result = directory.Run(GetParam().arguments);
  EXPECT_EQ(result.standardOutput, "");
  ExpectEnd(result, 2, GetParam().said);
  EXPECT_EQ(directory.Read("in.csv"), kLine);
  EXPECT_EQ(directory.Read("full.csv"), "old\n");
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

TEST(FileTest, StandardOutputMayNotBeTheErrorsFile) {
  const BulkDirectory directory;
  directory.Write("in.csv", kLine);
  const ChildResult result =
      directory.Start("exec \"$@\" > both", {"--errors", "both", "in.csv"}).Wait();
  ExpectEnd(result, 2, "the errors file is the output: both");
}

TEST(FileTest, TwoRunsDoNotShareAnOutputOrAnErrorsFile) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in.csv", Lines({"pass.test,192.0.2.1,", "silent.test,192.0.2.1,"}));
  const ChildProcess first =
      directory.Start("echo > started; exec \"$@\"", {"--output", "out.csv", "in.csv"});
  WaitForQuestion(server, "silent.test");
  usleep(300000);  // so that the first line is done
  ExpectEnd(directory.Run({"--output", "out.csv", "--errors", "e", "--resume", "in.csv"}), 2,
            "out.csv is in use by another run");
  ExpectEnd(directory.Run({"--output", "out.csv", "in.csv"}), 2,
            "out.csv is in use by another run");
  ExpectEnd(directory.Run({"in.csv"}), 2, "spf-bulk.errors is in use by another run");
}

TEST(FileTest, ADeviceIsNotLockedAndNotCut) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in.csv", "x\nsilent.test,192.0.2.1,\n");
  const std::vector<std::string> arguments = {"--time-limit", "1",         "--output", "/dev/null",
                                              "--errors",     "/dev/null", "in.csv"};
  ChildProcess first = directory.Start("exec \"$@\"", arguments);
  EXPECT_EQ(directory.Run(arguments).exitStatus, 1);
  EXPECT_EQ(first.Wait().exitStatus, 1);
}

TEST(FileTest, AFullDeviceAsOutputEndsTheRun) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in.csv", kLine);
  ExpectEnd(directory.Start("exec \"$@\" > /dev/full", {"in.csv"}).Wait(), 2,
            "cannot write to standard output: No space left on device");
  ExpectEnd(directory.Run({"--output", "/dev/full", "in.csv"}), 2,
            "cannot write to /dev/full: No space left on device");
}

TEST(FileTest, AFileThatMayNotGrowEndsTheRun) {
  const BulkServer server;
  const BulkDirectory directory;
  std::string input;
  for (int i = 0; i < 100; ++i) {
    input += kLine;
  }
  directory.Write("in.csv", input);
  const std::vector<std::string> arguments = {"--output", "out.csv", "--resume", "in.csv"};
  ExpectEnd(directory.Start("ulimit -f 1; exec \"$@\"", arguments).Wait(), 2,
            "cannot write to out.csv: File too large; go on with --resume");
  ExpectEnd(directory.Run(arguments), 0, "100 lines: 100 passed, 0 failed, 0 error, 0 malformed");
}

TEST(FileTest, AClosedPipeEndsTheRun) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in.csv", kLine);
  const ChildResult result =
      directory.Start("{ sleep 0.1; \"$@\" in.csv; echo $? > status; } | :", {}).Wait();
  EXPECT_EQ(directory.Read("status"), "2\n");
  EXPECT_EQ(result.standardError, "spf-bulk: cannot write to standard output: Broken pipe\n");
}

TEST(FileTest, AnInputThatCannotBeReadToItsEndIsNotDone) {
  const BulkServer server;
  const BulkDirectory directory;
  const ChildResult result = directory.Start("exec \"$@\" < .", {}).Wait();
  ExpectEnd(result, 2, "cannot read standard input: Is a directory");
}

TEST(FileTest, AStreamThatIsClosedIsNotTakenForAFile) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in.csv", kLine);
  ExpectEnd(directory.Start("exec \"$@\" >&-", {"in.csv"}).Wait(), 2,
            "cannot write to standard output: Bad file descriptor");
  ExpectEnd(directory.Start("exec \"$@\" <&-", {}).Wait(), 2,
            "cannot read standard input: Bad file descriptor");
  EXPECT_EQ(directory.Start("exec \"$@\" 2>&-", {"in.csv"}).Wait().standardOutput,
            "pass.test,192.0.2.1,,passed\n");
}

TEST(FileTest, AnOutputThatIsRefusedLeavesNoErrorsFile) {
  const BulkServer server;
  const BulkDirectory directory;
  directory.Write("in.csv", kLine);
  directory.Write("out.csv", "old\n");
  EXPECT_EQ(directory.Run({"--output", "out.csv", "in.csv"}).exitStatus, 2);
  EXPECT_FALSE(std::filesystem::exists(directory.Path("spf-bulk.errors")));
}

TEST(FileTest, TheErrorsFileIsWrittenBeforeTheOutput) {
  const BulkServer server;
  const BulkDirectory directory;
  std::string input = kLine;
  for (int i = 0; i < 5000; ++i) {
    input += "malformed\n";
  }
  directory.Write("in.csv", input);
  const std::string errors = directory.Path("errors");
  ASSERT_EQ(mkfifo(errors.c_str(), 0600), 0);
  const int reader = open(errors.c_str(), O_RDWR | O_CLOEXEC);
  fcntl(reader, F_SETPIPE_SZ, 4096);
  ChildProcess run =
      directory.Start("exec \"$@\"", {"--output", "out.csv", "--errors", "errors", "in.csv"});
  WaitForQuestion(server, "pass.test");
  usleep(300000);  // nobody reads the errors, so their writing has not ended
  EXPECT_EQ(directory.Read("out.csv"), "");
  close(reader);
  EXPECT_EQ(run.Wait().exitStatus, 2);
}

class FullDiskTest : public testing::TestWithParam<const char*> {};

// The parameter: which of the two files is on the disk.
TEST_P(FullDiskTest, ARunOnADiskThatWasFullIsResumed) {
  const BulkServer server;
  const BulkDirectory directory;
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
  directory.Write("in.csv", input);
  std::filesystem::create_symlink(disk.Path() + "/file", directory.Path(GetParam()));
  const std::vector<std::string> arguments = {"--output", "out",      "--errors",
                                              "errors",   "--resume", "in.csv"};
  ExpectEnd(directory.Run(arguments), 2,
            std::string("cannot write to ") + GetParam() +
                ": No space left on device; go on with --resume");
  disk.Grow();
  EXPECT_EQ(directory.Run(arguments).exitStatus, 1);
  EXPECT_EQ(directory.Read("out"), output);
  EXPECT_EQ(directory.Read("errors"), errors);
}

INSTANTIATE_TEST_SUITE_P(Files, FullDiskTest, testing::Values("out", "errors"),
                         [](const auto& file) { return std::string(file.param); });

}  // namespace
