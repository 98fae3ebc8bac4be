// The built program under load and attack: what others get meanwhile, and what it takes.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tests/spf_policyd/PolicyClient.h"
#include "tests/spf_policyd/RunningService.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/ScriptedNameServer.h"
#include "tests/support/Waiting.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr long kMostMemory = 40 * 1024;  // resident, kilobytes

const std::string kUnknown = "name=value\n\n";  // a request that needs no check
const ScriptedNameServer::Zone kZone = {{"TXT example.org", {"v=spf1 ip4:192.0.2.0/24 -all"}}};
const ScriptedNameServer::Script kSilence = [](const Bytes&) { return Datagrams(); };

// Answers as kZone says, and nothing for other domains.
const ScriptedNameServer::Script kSilentForOthers = [](const Bytes& query) {
  const bool isKnown = kZone.contains(ScriptedNameServer::QuestionOf(query));
  return isKnown ? Datagrams{ScriptedNameServer::AnswerFrom(kZone, query)} : Datagrams();
};

std::string Mail() {
  return Request("192.0.2.7", "a@example.org");
}

// Expects that memory is below kMostMemory; sanitizers need more.
void ExpectLittleMemory(const RunningService& service) {
  if (!kMemorySanitizer) {
    EXPECT_LT(service.Status("VmRSS"), kMostMemory);
  }
}

// Expects that a new client is served, in a time that a person would not notice.
void ExpectGoodService() {
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(PolicyClient().Ask(kUnknown), "DUNNO");
  EXPECT_LT(Clock::now() - start, 3s);
}

}  // namespace

TEST(LoadTest, AThousandIdleConnectionsTakeLittleMemoryAndNoThread) {
  RunningService service;
  const PolicyClients clients = MakeClients(1000);
  for (const auto& client : clients) {
    EXPECT_EQ(client->Ask(kUnknown), "DUNNO");
  }
  EXPECT_LT(service.Status("Threads"), 20);
  ExpectLittleMemory(service);
  service.ExpectGoodEnd();
}

TEST(LoadTest, AlsoAfterEachHadALookUpThatTimedOut) {
  const ScriptedNameServer silent(kSilence);
  RunningService service("trial=0\ntime_limit=2\n");
  const PolicyClients clients = MakeClients(1000);
  for (std::size_t i = 0; i < clients.size(); ++i) {
    const std::string name = std::to_string(i);
    clients[i]->Write(Request("198.51.100." + std::to_string(i % 100), "a@" + name + ".test"));
  }
  for (const auto& client : clients) {
    EXPECT_TRUE(client->ReadAction().starts_with("PREPEND X-SPF-Check: mail.test; no verdict; "));
  }
  EXPECT_GE(silent.Queries().size(), 500U);
  EXPECT_TRUE(ComesTrue([&] { return service.Status("Threads") < 20; }));
  ExpectLittleMemory(service);
  for (const auto& client : clients) {
    EXPECT_EQ(client->Ask(kUnknown), "DUNNO");
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
  ask(15000);  // more messages than it remembers
  const long before = service.Status("VmRSS");
  ask(30000);
  if (!kMemorySanitizer) {
    EXPECT_LT(service.Status("VmRSS") - before, 1024);
  }
  ExpectLittleMemory(service);
  service.ExpectGoodEnd();
}

TEST(LoadTest, SlowWritersAndIdleClientsGiveWay) {
  RunningService service("trial=0\nconnections=20\n");
  const PolicyClients slow = MakeClients(20);
  std::jthread writer([&slow](const std::stop_token& stop) {
    while (!stop.stop_requested()) {
      std::ranges::for_each(slow, [](const auto& client) { client->Write("x"); });
      std::this_thread::sleep_for(10ms);
    }
  });
  for (int i = 0; i < 50; ++i) {
    ExpectGoodService();
  }
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
    // A client without an answer yet may have to give way: Postfix connects again, too.
    EXPECT_TRUE(ComesTrue([] { return PolicyClient().Ask(kUnknown) == "DUNNO"; }));
  }
  std::ranges::for_each(flood, [](auto& thread) { thread.request_stop(); });
  flood.clear();
  ExpectLittleMemory(service);
  service.ExpectGoodEnd();
}

TEST(LoadTest, NeitherAClientNorADomainTakesThePlacesOfOthers) {
  const ScriptedNameServer names(kSilentForOthers);
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

TEST(LoadTest, ChecksOfClientsThatHangUpAreGivenUp) {
  const ScriptedNameServer names(kSilentForOthers);
  RunningService service("trial=0\nconnections=200\ntime_limit=90\n");
  for (int i = 0; i < 5; ++i) {
    const PolicyClients impatient = MakeClients(100);
    for (const auto& client : impatient) {
      client->Write(Request("198.51.100.7", "a@hostile.test"));
    }
  }
  const Clock::time_point start = Clock::now();
  PolicyClient client;
  EXPECT_TRUE(ComesTrue([&] {
    return client.Ask(Request("198.51.100.7", "a@example.org")).find("; failed; ") !=
           std::string::npos;
  }));
  EXPECT_LT(Clock::now() - start, 4s);  // one look-up would take five
  EXPECT_TRUE(ComesTrue([&] { return service.Status("Threads") < 20; }));
  service.ExpectGoodEnd();
}
