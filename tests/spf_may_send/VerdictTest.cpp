// The four verdicts, their statuses, and the first line.

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "tests/spf_may_send/MaySendRun.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScriptedNameServer.h"

namespace {

using Zone = ScriptedNameServer::Zone;

const Zone kZone = {{"TXT example.org", {"v=spf1 a -all"}},
                    {"A example.org", {"192.0.2.25"}},
                    {"TXT mx.test", {"v=spf1 mx -all"}}};

using VerdictTest = MaySendTest;

// Replies with `flags`.
ScriptedNameServer::Script WithFlags(std::uint16_t flags) {
  return [flags](const Bytes& query) {
    return Datagrams{ReplyBuilder(query).SetFlags(flags).Build()};
  };
}

}  // namespace

TEST_F(VerdictTest, PassedIsStatus0) {
  const ScriptedNameServer server(kZone);
  ExpectVerdict({"192.0.2.25", "example.org"}, kPassed, "passed: a of example.org matches\n");
}

TEST_F(VerdictTest, FailedIsStatus1) {
  const ScriptedNameServer server(kZone);
  ExpectVerdict({"192.0.2.7", "example.org"}, kFailed, "failed: no term of example.org matches\n");
}

TEST_F(VerdictTest, NoneIsStatus3) {
  const ScriptedNameServer server(kZone);
  ExpectVerdict({"192.0.2.7", "other.test"}, kNone, "none: other.test has no record\n");
}

TEST_F(VerdictTest, NoVerdictIsStatus4) {
  const ScriptedNameServer server(kZone);
  ExpectVerdict({"192.0.2.7", "mx.test"}, kNoVerdict,
                "no verdict: mx of mx.test is not evaluated\n");
}

TEST_F(VerdictTest, TheDomainFollowsTheLastAtSignOfTheSender) {
  const ScriptedNameServer server(kZone);
  for (const char* sender : {"example.org", "joe@example.org", "<joe@example.org>", "example.org.",
                             "\"x@mx.test\"@example.org", "@example.org"}) {
    SCOPED_TRACE(sender);
    ExpectVerdict({"192.0.2.25", sender}, kPassed, "passed: a of example.org matches\n");
  }
}

TEST_F(VerdictTest, AFailedLookUpIsNoVerdictAndNamesTheServer) {
  for (const auto& [flags, failure] :
       {std::pair{0x8182, "error code 2"}, std::pair{0x8380, "truncated answer"}}) {
    const ScriptedNameServer server(WithFlags(static_cast<std::uint16_t>(flags)));
    ExpectVerdict({"192.0.2.7", "example.org"}, kNoVerdict,
                  std::string("no verdict: ") + failure +
                      " for TXT example.org; the name server is 127.0.0.1\n");
  }
}

TEST_F(VerdictTest, AServerWithoutAnIPv4AddressIsNamedWithAdvice) {
  for (const std::string server : {"::1", "localhost", "0.0.0.0"}) {
    SetResolverFile("nameserver " + server + "\n");
    MaySendRun run({"192.0.2.7", "example.org"});
    EXPECT_EQ(run.GetStatus(), kNoVerdict);
    EXPECT_TRUE(
        run.GetOutput().ends_with("; /etc/resolv.conf names no server with an IPv4 "
                                  "address, but " +
                                  server + ": name one by --server\n"))
        << run.GetOutput();
  }
}
