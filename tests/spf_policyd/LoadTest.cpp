// The built program under load and attack: it serves others meanwhile, and needs few resources.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tests/spf_policyd/ExampleMail.h"
#include "tests/spf_policyd/RunningService.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/Waiting.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr long kMostMemory = 40 * 1024;  // resident, kilobytes

// Expects at most kMostMemory; sanitizers need more.
void ExpectLittleMemory(const RunningService& service) {
  if (!kMemorySanitizer) {
    EXPECT_LT(service.Status("VmRSS"), kMostMemory);
  }
}

// Expects that a new client is served soon.
void ExpectGoodService() {
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(PolicyClient().Ask(kUnchecked), "DUNNO");
  EXPECT_LT(Clock::now() - start, 3s);
}

}  // namespace

TEST(LoadTest, AThousandIdleConnectionsNeedLittleMemoryAndNoThreads) {
  RunningService service;
  const PolicyClients clients = MakeClients(1000);
  for (const auto& client : clients) {
    EXPECT_EQ(client->Ask(kUnchecked), "DUNNO");
  }
  EXPECT_LT(service.Status("Threads"), 20);
  ExpectLittleMemory(service);
  service.ExpectGoodEnd();
}

TEST(LoadTest, AThousandTimedOutLookUpsLeaveNoMemoryAndNoThreadsInUse) {
  const ScriptedNameServer silent(Silence);
  RunningService service("trial=0\ntime_limit=2\n");
  const PolicyClients clients = MakeClients(1000);
  AskOnAll(clients);
  for (const auto& client : clients) {
    EXPECT_TRUE(client->ReadAction().starts_with("PREPEND X-SPF-Check: mail.test; no verdict; "));
  }
  EXPECT_GE(silent.Queries().size(), 500U);
  EXPECT_TRUE(ComesTrue([&] { return service.Status("Threads") < 20; }));
  ExpectLittleMemory(service);
  for (const auto& client : clients) {
    EXPECT_EQ(client->Ask(kUnchecked), "DUNNO");
  }
  service.ExpectGoodEnd();
}

TEST(LoadTest, MemoryDoesNotGrowWithTheNumberOfRequests) {
  const TemporaryDirectory directory;
  RunningService service("trial=0\nlisten=unix:" + directory.Path("socket") + "\n");
  PolicyClient client(directory.Path("socket"));
  const auto ask = [&client](int requests) {
    constexpr int kTogether = 50;
    for (int i = 0; i < requests; i += kTogether) {
      std::string text;
      for (int j = 0; j < kTogether; ++j) {
        text += Request("2001:db8::1", "a@example.org");
      }
      client.Write(text);
      for (int j = 0; j < kTogether; ++j) {
        const std::string action = client.ReadAction();
        ASSERT_TRUE(action.starts_with("PREPEND ")) << action;
      }
    }
  };
  ask(15000);  // more messages than the service remembers
  const long before = service.Status("VmRSS");
  ask(30000);
  if (!kMemorySanitizer) {
    EXPECT_LT(service.Status("VmRSS") - before, 1024);
  }
  ExpectLittleMemory(service);
  service.ExpectGoodEnd();
}

TEST(LoadTest, AClientThatDoesNotReadIsClosed) {
  RunningService service("trial=0\n");
  const PolicyClient client;
  int requests = 0;
  while (requests < 1000000 && client.Write(Request("2001:db8::1", std::string(1000, 'x')))) {
    ++requests;
  }
  EXPECT_LT(requests, 1000000);
  ExpectGoodService();
  ExpectLittleMemory(service);
  service.ExpectGoodEnd();
}

TEST(LoadTest, FloodsOfMalformedRequestsDelayNobody) {
  RunningService service;
  std::vector<std::jthread> writers;
  for (const std::string& text :
       {std::string(1 << 20, 'x'), std::string(1 << 20, '\n'), std::string("a=b\n"),
        "a=" + std::string(2000, 'x') + "\n", std::string(1 << 20, '\0')}) {
    writers.emplace_back([text](const std::stop_token& stop) {
      while (!stop.stop_requested()) {
        PolicyClient client;
        while (!stop.stop_requested() && client.Write(text)) {
        }
      }
    });
  }
  for (int i = 0; i < 20; ++i) {
    ExpectGoodService();
    std::this_thread::sleep_for(20ms);
  }
  ExpectLittleMemory(service);
  std::ranges::for_each(writers, [](auto& writer) { writer.request_stop(); });
  writers.clear();
  service.ExpectGoodEnd();
}

TEST(LoadTest, FloodsOfConnectionsDelayNobody) {
  RunningService service("trial=0\nconnections=50\n");
  std::vector<std::jthread> flood;
  for (int i = 0; i < 3; ++i) {
    flood.emplace_back([](const std::stop_token& stop) {
      while (!stop.stop_requested()) {
        const PolicyClients clients = MakeClients(20);
      }
    });
  }
  for (int i = 0; i < 20; ++i) {
    // A client that waits for an answer may be closed, too; Postfix then connects again.
    EXPECT_TRUE(ComesTrue([] { return PolicyClient().Ask(kUnchecked) == "DUNNO"; }));
  }
  std::ranges::for_each(flood, [](auto& thread) { thread.request_stop(); });
  flood.clear();
  ExpectLittleMemory(service);
  service.ExpectGoodEnd();
}

TEST(LoadTest, NeitherAClientNorADomainTakesThePlacesOfOthers) {
  const ScriptedNameServer names([](const Bytes& query) {  // silent about other domains
    const bool isKnown = kZone.contains(ScriptedNameServer::QuestionOf(query));
    return isKnown ? Datagrams{ScriptedNameServer::AnswerFrom(kZone, query)} : Datagrams();
  });
  RunningService service("trial=0\nconnections=100\nrefuse=example.net\n");
  const PolicyClients hostile = MakeClients(90);
  for (std::size_t i = 0; i < hostile.size(); ++i) {
    const bool isOneClient = i % 2 == 0;
    const std::string name = std::to_string(i);
    hostile[i]->Write(isOneClient ? Request("198.51.100.7", "a@h" + name + ".test")
                                  : Request("198.51.100." + name, "a@h" + name + ".hostile.test"));
  }
  EXPECT_TRUE(ComesTrue([&] { return service.Files().Count("too busy to check") > 0; }));
  PolicyClient other;
  for (int i = 0; i < 5; ++i) {
    EXPECT_TRUE(other.Ask(Mail()).starts_with("PREPEND X-SPF-Check: mail.test; passed; "));
  }
}
