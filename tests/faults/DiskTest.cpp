// Disks that the log cannot be written to.

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "framework/logging/LogFile.h"
#include "framework/logging/Logger.h"
#include "tests/faults/KnownRun.h"
#include "tests/faults/LogTo.h"
#include "tests/faults/SmallDisk.h"
#include "tests/faults/ToolProcess.h"
#include "tests/support/CapturedOutput.h"

namespace {

constexpr char kPlain[] = "exec \"$@\"";

void ExpectRunWithoutLog(const std::string& directory, const std::string& command = kPlain) {
  ToolProcess(directory, kGivenRecord, command)
      .ExpectEnd({.standardOutput = kOutput, .standardError = "", .log = ""});
}

}  // namespace

TEST(DiskTest, OnAFullDiskTheToolLosesItsLogAndNothingElse) {
  const SmallDisk disk;
  disk.Fill();
  ExpectRunWithoutLog(disk.Path());
}

TEST(DiskTest, OnAReadOnlyDiskTheToolLosesItsLogAndNothingElse) {
  const SmallDisk disk;
  disk.MakeReadOnly();
  ExpectRunWithoutLog(disk.Path());
  EXPECT_TRUE(std::filesystem::is_empty(disk.Path()));
}

TEST(DiskTest, InADirectoryItMayNotWriteToTheToolLosesItsLogAndNothingElse) {
  const TemporaryDirectory directory;
  std::filesystem::permissions(directory.Path(), std::filesystem::perms(0555));
  // Without this capability permissions count for root, too.
  ExpectRunWithoutLog(directory.Path(), "exec setpriv --bounding-set=-dac_override \"$@\"");
  EXPECT_TRUE(std::filesystem::is_empty(directory.Path()));
}

TEST(DiskTest, InARemovedDirectoryTheToolLosesItsLogAndNothingElse) {
  const TemporaryDirectory directory;
  ExpectRunWithoutLog(directory.Path(), "rmdir \"$PWD\"; exec \"$@\"");
}

TEST(DiskTest, WhatFitsOnADiskThatFillsUpIsWritten) {
  const SmallDisk disk;
  const std::string old(SmallDisk::GetSize() - kBegin.size() - 5, 'x');
  disk.Directory().Write("log.txtcurrent.log", old);
  ToolProcess(disk.Path(), kGivenRecord, kPlain)
      .ExpectEnd({.standardOutput = kOutput, .standardError = "", .log = old + kBegin + "Debug"});
}

TEST(DiskTest, WhereTheLogMayGrowNoFurtherTheToolEndsWithoutAVerdict) {
  const TemporaryDirectory directory;
  ToolProcess(directory.Path(), kGivenRecord, "ulimit -f 0; exec \"$@\"")
      .ExpectEnd({.standardOutput = "", .standardError = "", .log = "", .status = 128 + SIGXFSZ});
}

TEST(DiskTest, LinesAreWrittenAgainWhenThereIsSpace) {
  const SmallDisk disk;
  LogTo(disk.Path());
  disk.Fill();
  EXPECT_EQ(CaptureOutput([] { fwk::Logger::Log(fwk::Info, "lost"); }), "Info: lost\n");
  disk.Empty();
  EXPECT_EQ(CaptureOutput([] { fwk::Logger::Log(fwk::Info, "kept"); }), "Info: kept\n");
  EXPECT_EQ(disk.Directory().Read("current.log"), "Info: kept\n");
  DoNotLog();
}

TEST(DiskTest, AfterALineThatWasCutTheNextOneGoesOn) {
  const SmallDisk disk;
  const std::string path = disk.Directory().Path("a.log");
  const std::string first(SmallDisk::GetSize() - 4, 'x');
  fwk::LogFile file(path);
  file.WriteLine(first);
  file.WriteLine("second");
  EXPECT_EQ(disk.Directory().Read("a.log"), first + "\nsec");
  disk.Grow();
  file.WriteLine("third");
  EXPECT_EQ(disk.Directory().Read("a.log"), first + "\nsecthird\n");
}
