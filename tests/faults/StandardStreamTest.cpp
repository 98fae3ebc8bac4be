// Standard streams that take nothing.

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include "tests/faults/KnownRun.h"
#include "tests/faults/ToolProcess.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/ScriptedNameServer.h"

namespace {

// Makes standard output a pipe without a reader.
const std::string kBrokenPipe = "mkfifo pipe; exec 3<>pipe >pipe 3<&-; exec \"$@\"";

const Expected kOnlyLog = {.standardOutput = "", .standardError = "", .log = kLog};

}  // namespace

TEST(StandardStreamTest, ABrokenPipeEndsTheToolAtItsFirstLineWhichTheLogHas) {
  std::signal(SIGPIPE, SIG_DFL);
  ToolProcess(kGivenRecord, kBrokenPipe)
      .ExpectEnd(
          {.standardOutput = "", .standardError = "", .log = kBegin, .status = 128 + SIGPIPE});
}

TEST(StandardStreamTest, WithTheSignalOfABrokenPipeIgnoredTheLogIsWhole) {
  std::signal(SIGPIPE, SIG_IGN);
  ToolProcess(kGivenRecord, kBrokenPipe).ExpectEnd(kOnlyLog);
}

TEST(StandardStreamTest, WithoutAStandardOutputTheLogIsWholeAndTheStatusTheSame) {
  for (const char* command : {"exec \"$@\" >&-", "exec \"$@\" >/dev/full", "exec \"$@\" <&- >&-",
                              "exec \"$@\" <&- >&- 2>&-"}) {
    SCOPED_TRACE(command);
    ToolProcess(kGivenRecord, command).ExpectEnd(kOnlyLog);
  }
}

// The sockets get the free descriptors, and must not be written to as if they were the streams.
TEST(StandardStreamTest, WithoutAStandardOutputOnlyTheQueriesGoToTheServer) {
  SetResolverFile("nameserver 127.0.0.1\n");
  const ScriptedNameServer server(ScriptedNameServer::Zone{{"A example.org", {"192.0.2.1"}}});
  ToolProcess({"example.org"}, "exec \"$@\" <&- >&- 2>&-")
      .ExpectEnd({.standardOutput = "", .standardError = "", .log = ""});
  EXPECT_EQ(server.Questions(),
            (std::vector<std::string>{"A example.org", "NS example.org", "TXT example.org"}));
}

TEST(StandardStreamTest, WithoutAStandardInputALookUpWorks) {
  SetResolverFile("nameserver 127.0.0.1\n");
  const ScriptedNameServer server(ScriptedNameServer::Zone{{"TXT example.org", {kRecord}}});
  ToolProcess(kPublishedRecord, "exec \"$@\" <&-").ExpectEnd(kPassed);
}

TEST(StandardStreamTest, WithoutAStandardErrorTheUsageIsLostAndTheStatusTheSame) {
  for (const char* command : {"exec \"$@\" 2>&-", "exec \"$@\" 2>/dev/full"}) {
    SCOPED_TRACE(command);
    ToolProcess({}, command)
        .ExpectEnd({.standardOutput = "", .standardError = "", .log = "", .status = 1});
  }
}

TEST(StandardStreamTest, WithoutAStandardErrorACheckIsAsUsual) {
  ToolProcess(kGivenRecord, "exec \"$@\" 2>&-").ExpectEnd(kPassed);
}
