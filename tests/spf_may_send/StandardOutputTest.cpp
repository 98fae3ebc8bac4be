// A standard output that cannot be written: the status is that of wrong use.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/spf_may_send/MaySendRun.h"
#include "tests/support/ScriptedNameServer.h"
#include "tests/support/Text.h"

namespace {

using Texts = std::vector<std::string>;

const Texts kCheck = {"192.0.2.25", "example.org"};

class StandardOutputTest : public MaySendTest {
 private:
  ScriptedNameServer m_server{ScriptedNameServer::Zone{{"TXT example.org", {"v=spf1 a -all"}},
                                                       {"A example.org", {"192.0.2.25"}}}};
};

void ExpectError(const Texts& arguments, const std::string& command, const std::string& error) {
  SCOPED_TRACE(command);
  MaySendRun run(arguments, command);
  EXPECT_EQ(run.GetStatus(), kWrongUse);
  EXPECT_EQ(run.GetOutput(), "");
  EXPECT_EQ(run.GetErrors(), "spf-may-send: cannot write to standard output: " + error + "\n");
}

// Standard output is a pipe without a reader.
const std::string kBrokenPipe = "mkfifo pipe; exec 3<>pipe >pipe 3<&-; rm pipe; exec \"$@\"";

}  // namespace

TEST_F(StandardOutputTest, AFullDiskIsStatus2) {
  for (const Texts& arguments : {kCheck, Texts{"--explain", "192.0.2.25", "example.org"},
                                 Texts{"--help"}, Texts{"--version"}}) {
    ExpectError(arguments, "exec \"$@\" >/dev/full", "No space left on device");
  }
}

TEST_F(StandardOutputTest, AClosedStandardOutputIsStatus2) {
  for (const char* command : {"exec \"$@\" >&-", "exec \"$@\" <&- >&-"}) {
    ExpectError(kCheck, command, "Bad file descriptor");
  }
  EXPECT_EQ(MaySendRun(kCheck, "exec \"$@\" <&- >&- 2>&-").GetStatus(), kWrongUse);
}

TEST_F(StandardOutputTest, ABrokenPipeIsStatus2) {
  ExpectError(kCheck, kBrokenPipe, "Broken pipe");
}

TEST_F(StandardOutputTest, ALongOutputOnAFullDiskIsStatus2) {
  const std::string record = "v=spf1" + Repeat(" ip4:192.0.2.1", 8000);
  ExpectError({"-e", "-r", record, "192.0.2.25", "example.org"}, "exec \"$@\" >/dev/full",
              "No space left on device");
}

TEST_F(StandardOutputTest, QuietNeedsNoStandardOutput) {
  for (const char* command :
       {"exec \"$@\" >&-", "exec \"$@\" >/dev/full", "exec \"$@\" <&- >&- 2>&-"}) {
    SCOPED_TRACE(command);
    EXPECT_EQ(MaySendRun({"-q", "192.0.2.25", "example.org"}, command).GetStatus(), kPassed);
    EXPECT_EQ(MaySendRun({"-q", "192.0.2.7", "example.org"}, command).GetStatus(), kFailed);
  }
}

// The socket of a look-up must not become a standard stream.
TEST_F(StandardOutputTest, WithoutAStandardInputTheVerdictIsTheSame) {
  for (const char* command : {"exec \"$@\" <&-", "exec \"$@\" <&- 2>&-"}) {
    MaySendRun run(kCheck, command);
    EXPECT_EQ(run.GetStatus(), kPassed);
    EXPECT_EQ(run.GetOutput(), "passed: a of example.org matches\n");
  }
}
