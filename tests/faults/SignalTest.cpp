// Signals that come while a reply is waited for.

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/time.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <latch>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "framework/dns/DNSSocket.h"
#include "framework/dns/NameServer.h"
#include "tests/faults/KnownRun.h"
#include "tests/faults/ToolProcess.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScriptedNameServer.h"

namespace {

using std::chrono::milliseconds;

std::atomic<int> alarms{0};

// A signal every 5 ms, to this thread as far as the others have it blocked.
class Alarms {
 public:
  Alarms() {
    alarms = 0;
    struct sigaction action {};  // without SA_RESTART: it interrupts system calls
    action.sa_handler = [](int) { ++alarms; };
    sigaction(SIGALRM, &action, &m_action);
    SetTimer(5000);
  }
  ~Alarms() {
    SetTimer(0);
    sigaction(SIGALRM, &m_action, nullptr);
  }

  Alarms(const Alarms&) = delete;
  Alarms& operator=(const Alarms&) = delete;

 private:
  static void SetTimer(int microseconds) {
    const itimerval timer{{0, microseconds}, {0, microseconds}};
    setitimer(ITIMER_REAL, &timer, nullptr);
  }

  struct sigaction m_action {};
};

// Threads that are started meanwhile have SIGALRM blocked.
class AlarmBlocked {
 public:
  AlarmBlocked() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &set, &m_mask);
  }
  ~AlarmBlocked() { pthread_sigmask(SIG_SETMASK, &m_mask, nullptr); }

  AlarmBlocked(const AlarmBlocked&) = delete;
  AlarmBlocked& operator=(const AlarmBlocked&) = delete;

 private:
  sigset_t m_mask{};
};

}  // namespace

TEST(SignalTest, AnInterruptedLookUpWaitsOnAndTakesTheReply) {
  dns_servers = "127.0.0.1";
  std::optional<AlarmBlocked> blocked(std::in_place);
  const ScriptedNameServer server("127.0.0.1", {{"A example.org", milliseconds(500), "192.0.2.1"}});
  blocked.reset();
  std::vector<std::string> values;
  EXPECT_EQ(CaptureLog([&] {
              const Alarms interruptions;
              DNSSocket("example.org").GetARecords(values);
            }),
            "");
  EXPECT_EQ(values, std::vector<std::string>{"192.0.2.1"});
  EXPECT_GT(alarms, 0);
}

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
  std::this_thread::sleep_for(milliseconds(300));
  tool.Signal(SIGCONT);
  tool.ExpectEnd({.standardOutput = kOutput, .standardError = "", .log = kLog});
}

TEST(SignalTest, ASignalEndsALookUpAtOnceAndWhatWasLoggedStays) {
  SetResolverFile("nameserver 127.0.0.1\n");
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    SCOPED_TRACE(signal);
    std::signal(signal, SIG_DFL);  // whoever started the tests may ignore it
    const ScriptedNameServer server([](const Bytes&) { return Datagrams{}; });
    ToolProcess tool(kPublishedRecord);
    EXPECT_TRUE(server.IsAsked());
    tool.Signal(signal);
    tool.ExpectEnd(
        {.standardOutput = kBegin, .standardError = "", .log = kBegin, .status = 128 + signal});
  }
}
