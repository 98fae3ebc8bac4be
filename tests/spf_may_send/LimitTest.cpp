// The limits of a check, with silent and slow name servers and signals.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "tests/spf_may_send/MaySendRun.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScriptedNameServer.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using Texts = std::vector<std::string>;
using Zone = ScriptedNameServer::Zone;

const std::string kTimeReached =
    "no verdict: time limit reached; no answer for TXT example.org; the name server is "
    "127.0.0.1\n";

using LimitTest = MaySendTest;

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// A busy machine starts and ends the process later.
constexpr double kSlack = 2;

}  // namespace

TEST_F(LimitTest, WithASilentServerItEndsWithinATenthOfASecondAfterTheLimit) {
  const ScriptedNameServer server(Silence);
  for (const int limitMs : {100, 300, 1000}) {
    SCOPED_TRACE(limitMs);
    const double limit = limitMs / 1000.0;
    double least = 1e9;  // of some runs, as the machine may be busy
    for (int i = 0; i < 10 && least >= limit + 0.1; ++i) {
      const Clock::time_point start = Clock::now();
      ExpectVerdict({"-t", std::to_string(limit), "192.0.2.7", "example.org"}, kNoVerdict,
                    kTimeReached);
      least = std::min(least, SecondsSince(start));
    }
    EXPECT_GE(least, limit);
    EXPECT_LT(least, limit + 0.1);
  }
}

// Without the limit the look-ups would take 3.6 s.
TEST_F(LimitTest, TheLimitIsForAllLookUpsTogether) {
  const ScriptedNameServer server([](const Bytes& query) {
    std::this_thread::sleep_for(milliseconds(400));
    return Datagrams{ReplyBuilder(query).TXT({"v=spf1 a a a a a a a a -all"}).Build()};
  });
  const Clock::time_point start = Clock::now();
  MaySendRun run({"-t", "1", "192.0.2.7", "example.org"});
  EXPECT_EQ(run.GetStatus(), kNoVerdict);
  EXPECT_TRUE(run.GetOutput().starts_with("no verdict: time limit reached")) << run.GetOutput();
  EXPECT_LT(SecondsSince(start), 1 + kSlack);
}

TEST_F(LimitTest, ALookUpWithoutAnAnswerEndsAfterFiveSeconds) {
  const ScriptedNameServer server(Silence);
  const Clock::time_point start = Clock::now();
  ExpectVerdict({"192.0.2.7", "example.org"}, kNoVerdict,
                "no verdict: no answer for TXT example.org; the name server is 127.0.0.1\n");
  EXPECT_GE(SecondsSince(start), 5.0);
  EXPECT_LT(SecondsSince(start), 5.0 + kSlack);
}

// It would take twice as long if a signal restarted the wait.
TEST_F(LimitTest, SignalsDoNotMoveTheLimit) {
  const ScriptedNameServer server(Silence);
  MaySendRun run({"-t", "3", "192.0.2.7", "example.org"});
  EXPECT_TRUE(server.IsAsked());
  const Clock::time_point start = Clock::now();
  while (SecondsSince(start) < 2.9) {
    for (const int signal : {SIGSTOP, SIGCONT, SIGWINCH, SIGCHLD, SIGPIPE}) {
      run.Signal(signal);
    }
    std::this_thread::sleep_for(milliseconds(1));
  }
  EXPECT_EQ(run.GetStatus(), kNoVerdict);
  EXPECT_LT(SecondsSince(start), 3.0 + kSlack);
  EXPECT_EQ(run.GetOutput(), kTimeReached);
}

TEST_F(LimitTest, ASignalThatEndsItIsNotAVerdict) {
  for (const int signal : {SIGTERM, SIGINT, SIGKILL}) {
    const ScriptedNameServer server(Silence);
    std::signal(signal, SIG_DFL);  // the tests may have been started with it ignored
    MaySendRun run({"192.0.2.7", "example.org"});
    EXPECT_TRUE(server.IsAsked());
    run.Signal(signal);
    EXPECT_EQ(run.GetResult().signal, signal);
    EXPECT_EQ(run.GetOutput(), "");
  }
}

TEST_F(LimitTest, AtMostTwentyLookUpsAreMade) {
  const ScriptedNameServer server(Zone{});
  std::string record = "v=spf1";
  for (int i = 0; i < 20; ++i) {
    record.append(" a:h").append(std::to_string(i)).append(".test");
  }
  ExpectVerdict({"-r", record + " -all", "192.0.2.7", "example.org"}, kFailed,
                "failed: no term of example.org matches\n");
  EXPECT_EQ(server.Questions().size(), 20U);
  ExpectVerdict({"-r", record + " a -all", "192.0.2.7", "example.org"}, kNoVerdict,
                "no verdict: more look-ups than allowed\n");
  EXPECT_EQ(server.Questions().size(), 40U);
}
