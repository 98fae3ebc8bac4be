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

// Standard output is a pipe that nobody reads any more.
const std::string kBrokenPipe = "mkfifo pipe; exec 3<>pipe >pipe 3<&-; exec \"$@\"";

}  // namespace

TEST(StandardStreamTest, ABrokenPipeEndsTheToolAtItsFirstLineWhichTheLogHas) {
  std::signal(SIGPIPE, SIG_DFL);
  ToolProcess(kGivenRecord, kBrokenPipe)
      .ExpectEnd(
          {.standardOutput = "", .standardError = "", .log = kBegin, .status = 128 + SIGPIPE});
}

TEST(StandardStreamTest, WhoIgnoresTheSignalOfABrokenPipeGetsTheWholeLog) {
  std::signal(SIGPIPE, SIG_IGN);
  ToolProcess(kGivenRecord, kBrokenPipe)
      .ExpectEnd({.standardOutput = "", .standardError = "", .log = kLog});
}

TEST(StandardStreamTest, WithoutAStandardOutputTheLogIsWholeAndTheStatusTheSame) {
  for (const char* command : {"exec \"$@\" >&-", "exec \"$@\" >/dev/full", "exec \"$@\" <&- >&-",
                              "exec \"$@\" <&- >&- 2>&-"}) {
    SCOPED_TRACE(command);
    ToolProcess(kGivenRecord, command)
        .ExpectEnd({.standardOutput = "", .standardError = "", .log = kLog});
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

TEST(StandardStreamTest, WithoutAStandardInputAllIsAsUsual) {
  SetResolverFile("nameserver 127.0.0.1\n");
  const ScriptedNameServer server(
      ScriptedNameServer::Zone{{"TXT example.org", {kRecord}}, {"A example.org", {"192.0.2.1"}}});
  ToolProcess(kPublishedRecord, "exec \"$@\" <&-")
      .ExpectEnd({.standardOutput = kOutput, .standardError = "", .log = kLog});
  ToolProcess({"example.org"}, "exec \"$@\" <&-")
      .ExpectEnd({.standardOutput = "Domain : example.org\n"
                                    "A records : \n\t192.0.2.1\n"
                                    "MX records : \n"
                                    "NS records : \n"
                                    "TXT records : \n\t" +
                                    kRecord + "\n",
                  .standardError = "",
                  .log = ""});
}

TEST(StandardStreamTest, WithoutAStandardErrorTheUsageIsLostAndTheStatusTheSame) {
  for (const char* command : {"exec \"$@\" 2>&-", "exec \"$@\" 2>/dev/full"}) {
    SCOPED_TRACE(command);
    ToolProcess({}, command)
        .ExpectEnd({.standardOutput = "", .standardError = "", .log = "", .status = 1});
  }
}

TEST(StandardStreamTest, WithoutAStandardErrorTheRestIsAsUsual) {
  ToolProcess(kGivenRecord, "exec \"$@\" 2>&-")
      .ExpectEnd({.standardOutput = kOutput, .standardError = "", .log = kLog});
}
