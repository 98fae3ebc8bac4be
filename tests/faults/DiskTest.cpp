// Disks to which the log cannot be written.

#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "framework/logging/LogFile.h"
#include "tests/faults/KnownRun.h"
#include "tests/faults/ToolProcess.h"
#include "tests/support/SmallDisk.h"

namespace {

const Expected kPassedWithoutLog = {
    .standardOutput = kPassed.standardOutput, .standardError = "", .log = ""};

}  // namespace

TEST(DiskTest, OnAFullDiskTheToolLosesItsLogAndNothingElse) {
  const SmallDisk disk;
  disk.Fill();
  ToolProcess(disk.Path(), kGivenRecord, "exec \"$@\"").ExpectEnd(kPassedWithoutLog);
}

TEST(DiskTest, InARemovedDirectoryTheToolLosesItsLogAndNothingElse) {
  ToolProcess(kGivenRecord, "rmdir \"$PWD\"; exec \"$@\"").ExpectEnd(kPassedWithoutLog);
}

TEST(DiskTest, OnADiskThatFillsUpTheLogHasAsMuchAsFits) {
  const SmallDisk disk;
  const std::string old(SmallDisk::GetSize() - kBegin.size() - 5, 'x');
  disk.Write("log.txtcurrent.log", old);
  ToolProcess(disk.Path(), kGivenRecord, "exec \"$@\"")
      .ExpectEnd({.standardOutput = kPassed.standardOutput,
                  .standardError = "",
                  .log = old + kBegin + "Debug"});
}

TEST(DiskTest, WhereTheLogMayNotGrowTheToolEndsWithoutAVerdict) {
  ToolProcess(kGivenRecord, "ulimit -f 0; exec \"$@\"")
      .ExpectEnd({.standardOutput = "", .standardError = "", .log = "", .status = 128 + SIGXFSZ});
}

TEST(DiskTest, TheNextLineFollowsThePartOfOneThatWasCut) {
  const SmallDisk disk;
  const std::string first(SmallDisk::GetSize() - 4, 'x');
  fwk::LogFile file(disk.Path("a.log"));
  file.WriteLine(first);
  file.WriteLine("second");
  EXPECT_EQ(disk.Read("a.log"), first + "\nsec");
  disk.Grow();
  file.WriteLine("third");
  EXPECT_EQ(disk.Read("a.log"), first + "\nsecthird\n");
}
