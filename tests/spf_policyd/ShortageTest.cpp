// The built program when descriptors or threads run short.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "tests/spf_policyd/ExampleMail.h"
#include "tests/spf_policyd/RunningService.h"
#include "tests/support/Waiting.h"

namespace {

using namespace std::chrono_literals;

bool IsPassed(const std::string& action) {
  return action.starts_with("PREPEND X-SPF-Check: mail.test; passed; ");
}

// Sets a limit of a running process.
void Limit(pid_t process, __rlimit_resource resource, rlim_t value) {
  rlimit limit{};
  EXPECT_EQ(prlimit(process, resource, nullptr, &limit), 0);
  limit.rlim_cur = value;
  EXPECT_EQ(prlimit(process, resource, &limit, nullptr), 0);
}

}  // namespace

TEST(ShortageTest, WithFewDescriptorsFewerConnectionsAreAllowedAndServed) {
  const ScriptedNameServer names(kZone);
  RunningService service("trial=0\n", "ulimit -n 104; exec \"$0\"");
  EXPECT_EQ(service.Files().Count("Warning: only 20 connections, as the system allows too few "
                                  "descriptors"),
            1U);
  PolicyClients clients = MakeClients(20);
  for (int round = 0; round < 3; ++round) {
    for (const auto& client : clients) {
      EXPECT_TRUE(IsPassed(client->Ask(Mail())));
    }
  }
  EXPECT_TRUE(IsPassed(PolicyClient().Ask(Mail())));
  EXPECT_EQ(clients.front()->ReadAction(), "closed") << "it was the idlest";
  service.ExpectGoodEnd();
}

TEST(ShortageTest, ConnectionsLeaveDescriptorsForChecks) {
  const ScriptedNameServer silent(Silence);
  RunningService service("trial=0\ntime_limit=1\n", "ulimit -n 104; exec \"$0\"");
  const PolicyClients clients = MakeClients(20);
  AskOnAll(clients);
  for (const auto& client : clients) {
    EXPECT_TRUE(client->ReadAction().ends_with("time limit reached"));
  }
  service.ExpectGoodEnd();
}

TEST(ShortageTest, WhenDescriptorsRunOutTheIdlestConnectionIsClosed) {
  const ScriptedNameServer names(kZone);
  RunningService service("trial=0\n");
  const PolicyClients clients = MakeClients(30);
  for (const auto& client : clients) {
    EXPECT_TRUE(IsPassed(client->Ask(Mail())));
  }
  Limit(service.GetId(), RLIMIT_NOFILE, 12);
  PolicyClients others;
  for (int i = 0; i < 20; ++i) {
    others.push_back(std::make_unique<PolicyClient>());
    EXPECT_TRUE(others.back()->Ask(Mail()).starts_with("PREPEND ")) << i;
  }
  Limit(service.GetId(), RLIMIT_NOFILE, 4096);
  EXPECT_TRUE(IsPassed(PolicyClient().Ask(Mail())));
  service.ExpectGoodEnd();
}

TEST(ShortageTest, WithoutADescriptorForALookUpThereIsNoVerdict) {
  const ScriptedNameServer names(kZone);
  RunningService service("trial=0\nrefuse=example.org\n");
  PolicyClient client;
  EXPECT_TRUE(IsPassed(client.Ask(Mail())));
  Limit(service.GetId(), RLIMIT_NOFILE, 3);
  EXPECT_TRUE(client.Ask(Forged()).starts_with(
      "PREPEND X-SPF-Check: mail.test; no verdict; client=198.51.100.7; "
      "domain=example.org; no socket for a look-up: "));
  Limit(service.GetId(), RLIMIT_NOFILE, 4096);
  EXPECT_TRUE(client.Ask(Forged()).starts_with("550 "));
  service.ExpectGoodEnd();
}

TEST(ShortageTest, WhenThreadsRunOutTheExistingOnesContinue) {
  const ScriptedNameServer silent(Silence);
  RunningService service("trial=0\ntime_limit=1\n");
  const PolicyClients clients = MakeClients(20);
  for (const auto& client : clients) {
    EXPECT_EQ(client->Ask(kUnchecked), "DUNNO");
  }
  const auto space = static_cast<rlim_t>(service.Status("VmSize")) * 1024;
  Limit(service.GetId(), RLIMIT_AS, space + (20 << 20));  // two stacks
  AskOnAll(clients);
  const auto start = std::chrono::steady_clock::now();
  for (const auto& client : clients) {
    EXPECT_TRUE(client->ReadAction().starts_with("PREPEND "));
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, 15s);
  EXPECT_TRUE(ComesTrue([&] { return service.Files().Count("Warning: no further thread: ") > 0; }));
  EXPECT_LT(service.Files().Count("no further thread"), 20U) << "it is logged once a second";
  Limit(service.GetId(), RLIMIT_AS, RLIM_INFINITY);
  EXPECT_TRUE(PolicyClient().Ask(Request("::1", "")).starts_with("PREPEND "));
  service.ExpectGoodEnd();
}
