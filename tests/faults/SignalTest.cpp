// Signals that come while the tool waits for a reply.

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <latch>
#include <thread>

#include "tests/faults/KnownRun.h"
#include "tests/faults/ToolProcess.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScriptedNameServer.h"

TEST(SignalTest, AToolThatIsStoppedAndContinuedTakesTheReplyThatCameMeanwhile) {
  SetResolverFile("nameserver 127.0.0.1\n");
  std::latch stopped(1);
  const ScriptedNameServer server([&](const Bytes& query) {
    stopped.wait();
    return Datagrams{ReplyBuilder(query).TXT({kRecord}).Build()};
  });
  ToolProcess tool(kPublishedRecord);
  EXPECT_TRUE(server.IsAsked());
  tool.Signal(SIGSTOP);
  stopped.count_down();
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  tool.Signal(SIGCONT);
  tool.ExpectEnd(kPassed);
}

TEST(SignalTest, ASignalEndsALookUpAtOnceAndTheLogKeepsItsLines) {
  SetResolverFile("nameserver 127.0.0.1\n");
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    SCOPED_TRACE(signal);
    std::signal(signal, SIG_DFL);  // whoever started the tests may ignore it
    const ScriptedNameServer server(Silence);
    ToolProcess tool(kPublishedRecord);
    EXPECT_TRUE(server.IsAsked());
    tool.Signal(signal);
    tool.ExpectEnd(
        {.standardOutput = kBegin, .standardError = "", .log = kBegin, .status = 128 + signal});
  }
}
