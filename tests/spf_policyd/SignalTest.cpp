// The signals of the built program, which make it reload or end, also under load.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "tests/spf_policyd/ExampleMail.h"
#include "tests/spf_policyd/RunningService.h"
#include "tests/support/ProcessStatus.h"
#include "tests/support/Waiting.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

}  // namespace

TEST(SignalTest, OnlyTheFirstThreadTakesSignals) {
  const ScriptedNameServer silent(Silence);
  const RunningService service("time_limit=1\n");
  const PolicyClients clients = MakeClients(5);
  std::ranges::for_each(clients, [](const auto& client) { client->Write(Forged()); });
  EXPECT_TRUE(ComesTrue([&] { return silent.Queries().size() == 5; }));
  const std::string process = std::to_string(service.GetId());
  int others = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/" + process + "/task")) {
    if (task.path().filename() != process) {
      ++others;
      const auto blocked = std::stoull(ReadStatus(task.path(), "SigBlk"), nullptr, 16);
      for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        EXPECT_TRUE(blocked >> (signal - 1) & 1);
      }
    }
  }
  EXPECT_GE(others, 6) << "the log's, and one for each check";
}

TEST(SignalTest, AReloadChangesTheSettingsForOpenConnections) {
  const ScriptedNameServer names(kZone);
  RunningService service("trial=0\n");
  PolicyClient client;
  EXPECT_TRUE(client.Ask(Forged()).starts_with("PREPEND X-SPF-Check: mail.test; failed; "));
  service.Reload("trial=0\nrefuse=example.org\n");
  EXPECT_TRUE(client.Ask(Forged()).starts_with("550 5.7.23 "));
  service.Reload("trial=1\nrefuse=example.org\n");
  EXPECT_EQ(client.Ask(Forged()), "DUNNO");
  service.ExpectGoodEnd();
}

TEST(SignalTest, AMalformedConfigurationIsLoggedAndChangesNothing) {
  const ScriptedNameServer names(kZone);
  RunningService service("trial=0\nrefuse=example.org\n");
  PolicyClient client;
  service.Reload("trial=1\nrefuse = x\n");
  EXPECT_EQ(service.Files().Log().back(),
            "Error: the settings stay as they are: /etc/spf-policyd.conf:4: unknown key \"refuse "
            "\"; leave no blank before the \"=\"");
  EXPECT_TRUE(client.Ask(Forged()).starts_with("550 5.7.23 "));
  service.ExpectGoodEnd();
}

TEST(SignalTest, ASettingThatNeedsARestartIsLoggedUntilItIsAsBefore) {
  RunningService service("");
  service.Reload("listen=127.0.0.1:10041\nconnections=5\n");
  service.Reload("listen=127.0.0.1:10041\n");
  service.Reload("");
  EXPECT_EQ(PolicyClient().Ask(kUnchecked), "DUNNO");
  service.ExpectGoodEnd();
  EXPECT_EQ(service.Files().Count("Warning: a restart is needed to change listen"), 2U);
  EXPECT_EQ(service.Files().Count("Warning: a restart is needed to change connections"), 1U);
  EXPECT_EQ(service.Files().Count("a restart"), 3U);
}

TEST(SignalTest, AnUnwritableLogIsReportedAtAReload) {
  RunningService service("trial=1\n");
  service.Files().Configure("logging=/nonexistent/\ntrial=0\n");
  service.Signal(SIGHUP);
  PolicyClient client;
  EXPECT_TRUE(ComesTrue([&] { return client.Ask(Request("::1", "")).starts_with("PREPEND "); }));
  service.Signal(SIGTERM);
  EXPECT_EQ(service.Wait().standardError,
            "spf-policyd: cannot write the log /nonexistent/current.log: No such file or "
            "directory\n");
}

TEST(SignalTest, ReloadsUnderLoadLoseNoRequest) {
  const ScriptedNameServer names(kZone);
  RunningService service("trial=0\n");
  std::atomic<std::size_t> answered{0};
  std::vector<std::jthread> clients;
  for (int i = 0; i < 8; ++i) {
    clients.emplace_back([&answered](const std::stop_token& stop) {
      for (PolicyClient client; !stop.stop_requested(); ++answered) {
        const std::string action = client.Ask(Forged());
        EXPECT_TRUE(action.starts_with("550 ") || action.starts_with("PREPEND ")) << action;
      }
    });
  }
  for (int i = 0; i < 200; ++i) {
    service.Files().Configure(i % 2 == 0 ? "trial=0\nrefuse=example.org\n" : "trial=0\n");
    service.Signal(SIGHUP);
    std::this_thread::sleep_for(5ms);
  }
  clients.clear();
  EXPECT_GT(answered, 50U);
  service.ExpectGoodEnd();
  EXPECT_GT(service.Files().Count("configuration read again"), 20U);
  EXPECT_EQ(service.Files().Count("domain=example.org"), answered);
}

TEST(SignalTest, AStormOfReloadsDelaysNeitherRequestsNorTheEnd) {
  const ScriptedNameServer names(kZone);
  RunningService service("trial=0\n");
  std::jthread storm([&service](const std::stop_token& stop) {
    while (!stop.stop_requested()) {
      service.Signal(SIGHUP);
    }
  });
  PolicyClient client;
  for (int i = 0; i < 20; ++i) {
    const Clock::time_point start = Clock::now();
    EXPECT_TRUE(client.Ask(Forged()).starts_with("PREPEND "));
    EXPECT_LT(Clock::now() - start, 3s);
  }
  const Clock::time_point start = Clock::now();
  service.Signal(SIGTERM);
  EXPECT_EQ(client.ReadAction(), "closed");
  EXPECT_LT(Clock::now() - start, 5s);
  storm.request_stop();
  storm.join();
  EXPECT_EQ(service.Wait().exitStatus, 0);
}

TEST(SignalTest, SigtermAndSigintEndIt) {
  for (const int signal : {SIGTERM, SIGINT}) {
    RunningService service;
    PolicyClient idle;
    EXPECT_EQ(idle.Ask(kUnchecked), "DUNNO");
    service.Signal(signal);
    EXPECT_EQ(service.Wait().exitStatus, 0);
    EXPECT_EQ(idle.ReadAction(), "closed");
    EXPECT_EQ(service.Files().Count("Info: ends on signal " + std::to_string(signal)), 1U);
    EXPECT_EQ(service.Files().Log().back(), "Info: ended");
  }
}

TEST(SignalTest, AtTheEndItStillAnswersRequestsThatItIsChecking) {
  const ScriptedNameServer silent(Silence);
  RunningService service("trial=0\ntime_limit=2\n");
  const PolicyClients clients = MakeClients(10);
  std::ranges::for_each(clients, [](const auto& client) { client->Write(Forged()); });
  EXPECT_TRUE(ComesTrue([&] { return silent.Queries().size() == 10; }));
  const Clock::time_point start = Clock::now();
  service.Signal(SIGTERM);
  service.Signal(SIGTERM);  // a second one changes nothing
  for (const auto& client : clients) {
    EXPECT_TRUE(client->ReadAction().starts_with("PREPEND X-SPF-Check: mail.test; no verdict; "));
    EXPECT_EQ(client->ReadAction(), "closed");
  }
  EXPECT_EQ(service.Wait().exitStatus, 0);
  EXPECT_LT(Clock::now() - start, 4s);
  EXPECT_EQ(service.Files().Count("PREPEND, no verdict"), 10U);
}

TEST(SignalTest, WhenItEndsUnderLoadEachAnswerIsInTheLog) {
  const ScriptedNameServer names(kZone);
  RunningService service("trial=0\n");
  std::vector<std::jthread> clients;
  std::atomic<std::size_t> answered{0};
  for (int i = 0; i < 8; ++i) {
    clients.emplace_back([&answered] {
      PolicyClient client;
      while (client.Ask(Forged()).starts_with("PREPEND ")) {
        ++answered;
      }
    });
  }
  EXPECT_TRUE(ComesTrue([&] { return answered > 200; }));
  service.ExpectGoodEnd();
  clients.clear();
  EXPECT_EQ(service.Files().Count("PREPEND, failed"), answered);
}
