// PolicyServer in the test's own process: its connections, its threads and its end.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "framework/dns/NameServer.h"
#include "programs/spf-policyd/ListenAddress.h"
#include "programs/spf-policyd/PolicyServer.h"
#include "tests/spf_policyd/DecisionSettings.h"
#include "tests/spf_policyd/PolicyClient.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/ScriptedNameServer.h"
#include "tests/support/Waiting.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

const ScriptedNameServer::Zone kZone = {{"TXT example.org", {"v=spf1 ip4:192.0.2.0/24 -all"}}};
const std::string kUnknown = "name=value\n\n";  // a request that needs no check
const std::string kMail = Request("192.0.2.7", "a@example.org");
const std::string kForged = Request("198.51.100.7", "a@example.org");

std::ptrdiff_t Threads() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

// A server of at most `connections`, which is made anew by each test.
class PolicyServerTest : public testing::Test {
 protected:
  PolicyServerTest() {
    DoNotLog();
    dns_servers = "127.0.0.1";
  }

  void Start(std::size_t connections, const Settings& settings = MakeSettings()) {
    m_server =
        std::make_unique<PolicyServer>(std::vector<int>{ListenAddress("127.0.0.1:10040").Open()},
                                       connections, std::make_shared<const Settings>(settings));
  }

  PolicyServer& Server() { return *m_server; }

  void Stop() { m_server.reset(); }

 private:
  std::unique_ptr<PolicyServer> m_server;
};

// A name server that answers only once it is told to.
class WaitingNameServer {
 public:
  ~WaitingNameServer() { GoOn(); }

  void GoOn() { m_goesOn = true; }

  void WaitForQuestion() const {
    EXPECT_TRUE(ComesTrue([&] { return !m_server.Queries().empty(); }));
  }

 private:
  std::atomic<bool> m_goesOn{false};
  ScriptedNameServer m_server{[this](const Bytes& query) {
    EXPECT_TRUE(ComesTrue([&] { return m_goesOn.load(); }));
    return Datagrams{ScriptedNameServer::AnswerFrom(kZone, query)};
  }};
};

const ScriptedNameServer::Script kSilence = [](const Bytes&) { return Datagrams(); };

}  // namespace

TEST_F(PolicyServerTest, EachConnectionIsServed) {
  const ScriptedNameServer names(kZone);
  Start(100, MakeSettings("example.org"));
  const PolicyClients clients = MakeClients(20);
  for (int round = 0; round < 3; ++round) {
    for (const auto& client : clients) {
      client->Write(kMail + kForged + kUnknown);
    }
    for (const auto& client : clients) {
      EXPECT_TRUE(client->ReadAction().starts_with("PREPEND "));
      EXPECT_TRUE(client->ReadAction().starts_with("550 "));
      EXPECT_EQ(client->ReadAction(), "DUNNO");
    }
  }
}

TEST_F(PolicyServerTest, SeveralListenersAreServed) {
  PolicyServer server(
      {ListenAddress("127.0.0.1:10040").Open(), ListenAddress("127.0.0.1:10041").Open()}, 10,
      std::make_shared<const Settings>(MakeSettings()));
  EXPECT_EQ(PolicyClient(10040).Ask(kUnknown), "DUNNO");
  EXPECT_EQ(PolicyClient(10041).Ask(kUnknown), "DUNNO");
}

TEST_F(PolicyServerTest, AMalformedRequestClosesItsConnectionOnly) {
  Start(10);
  PolicyClient bystander;
  PolicyClient client;
  EXPECT_EQ(client.Ask("no equals sign\n"), "closed");
  EXPECT_EQ(bystander.Ask(kUnknown), "DUNNO");
}

TEST_F(PolicyServerTest, IdleConnectionsHoldNoThread) {
  Start(500);
  const PolicyClients clients = MakeClients(400);
  for (const auto& client : clients) {
    EXPECT_EQ(client->Ask(kUnknown), "DUNNO");
  }
  EXPECT_LT(Threads(), 20);
}

TEST_F(PolicyServerTest, ThreadsThatAreNotNeededEnd) {
  const ScriptedNameServer silent(kSilence);
  Settings settings = MakeSettings();
  settings.timeLimit = 500ms;
  Start(100, settings);
  const PolicyClients clients = MakeClients(40);
  for (const auto& client : clients) {
    client->Write(kMail);
  }
  EXPECT_TRUE(ComesTrue([] { return Threads() > 40; }));
  for (const auto& client : clients) {
    EXPECT_TRUE(client->ReadAction().ends_with("time limit reached"));
  }
  EXPECT_TRUE(ComesTrue([this] {
    Server().Tidy();
    return Threads() < 8;
  }));
}

TEST_F(PolicyServerTest, OthersAreServedWhileChecksWait) {
  const ScriptedNameServer silent(kSilence);
  Start(100);
  const PolicyClients clients = MakeClients(20);
  for (const auto& client : clients) {
    client->Write(kMail);
  }
  EXPECT_TRUE(ComesTrue([&] { return silent.Queries().size() == 20; }));
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(PolicyClient().Ask(kUnknown), "DUNNO");
  EXPECT_LT(Clock::now() - start, 3s);
}

TEST_F(PolicyServerTest, WhereAllConnectionsAreTakenTheIdlestGivesWay) {
  Start(3);
  const PolicyClients clients = MakeClients(3);
  for (const std::size_t i : {0U, 1U, 2U, 0U}) {
    EXPECT_EQ(clients[i]->Ask(kUnknown), "DUNNO");
    std::this_thread::sleep_for(50ms);  // it waits from a moment after its answer
  }
  PolicyClient next;
  EXPECT_EQ(next.Ask(kUnknown), "DUNNO");
  EXPECT_EQ(clients[1]->ReadAction(), "closed");
  EXPECT_EQ(clients[0]->Ask(kUnknown), "DUNNO");
  EXPECT_EQ(clients[2]->Ask(kUnknown), "DUNNO");
}

TEST_F(PolicyServerTest, AClientThatDribblesGivesWayBeforeOneThatIsServed) {
  Start(2);
  PolicyClient slow;
  EXPECT_TRUE(slow.Write("na"));
  PolicyClient served;
  EXPECT_EQ(served.Ask(kUnknown), "DUNNO");
  for (int i = 0; i < 10; ++i) {
    EXPECT_TRUE(slow.Write("m"));
    std::this_thread::sleep_for(10ms);
  }
  EXPECT_EQ(PolicyClient().Ask(kUnknown), "DUNNO");
  EXPECT_EQ(slow.ReadAction(), "closed");
  EXPECT_EQ(served.Ask(kUnknown), "DUNNO");
}

TEST_F(PolicyServerTest, AConnectionThatIsBeingAnsweredDoesNotGiveWay) {
  WaitingNameServer names;
  Start(1);
  PolicyClient first;
  EXPECT_TRUE(first.Write(kMail));
  names.WaitForQuestion();
  PolicyClient second;
  EXPECT_TRUE(second.Write(kUnknown));
  EXPECT_FALSE(second.HasAnswer(200));
  names.GoOn();
  EXPECT_TRUE(first.ReadAction().starts_with("PREPEND "));
  EXPECT_EQ(second.ReadAction(), "DUNNO");
}

TEST_F(PolicyServerTest, AClientThatHangsUpGivesItsPlaceBack) {
  const ScriptedNameServer silent(kSilence);
  const auto ask = [](const PolicyClient& client) {
    client.Write(Request("192.0.2.7", "a@example.org"));
  };
  Start(4);
  PolicyClients clients = MakeClients(4);
  std::ranges::for_each(clients, [&](const auto& client) { ask(*client); });
  EXPECT_TRUE(ComesTrue([&] { return silent.Queries().size() == 3; }));
  EXPECT_TRUE(ComesTrue([&] {
    return std::ranges::any_of(clients, [](const auto& client) { return client->HasAnswer(0); });
  })) << "too busy";
  clients.clear();
  const Clock::time_point start = Clock::now();
  EXPECT_TRUE(ComesTrue([&] {
    clients = MakeClients(1);
    ask(*clients.front());
    return !clients.front()->HasAnswer(50) && silent.Queries().size() > 3;
  }));
  EXPECT_LT(Clock::now() - start, 4s);  // a look-up would take five
}

TEST_F(PolicyServerTest, NewSettingsHoldFromTheNextRequestOn) {
  const ScriptedNameServer names(kZone);
  Start(10);
  PolicyClient client;
  EXPECT_TRUE(client.Ask(kForged).starts_with("PREPEND X-SPF-Check: mail.test; failed; "));
  Server().SetSettings(std::make_shared<const Settings>(MakeSettings("example.org")));
  EXPECT_TRUE(client.Ask(Request("198.51.100.7", "a@example.org")).starts_with("550 "));
}

TEST_F(PolicyServerTest, AtItsEndItAnswersOnlyWhatIsBeingDecided) {
  WaitingNameServer names;
  const auto before = Threads();
  Start(10);
  PolicyClient idle;
  EXPECT_EQ(idle.Ask(kUnknown), "DUNNO");
  PolicyClient asking;
  EXPECT_TRUE(asking.Write(kMail + kUnknown));
  names.WaitForQuestion();
  auto end = std::async(std::launch::async, [this] { Stop(); });
  EXPECT_EQ(end.wait_for(200ms), std::future_status::timeout);
  names.GoOn();
  EXPECT_TRUE(asking.ReadAction().starts_with("PREPEND "));
  EXPECT_EQ(asking.ReadAction(), "closed");
  end.get();
  EXPECT_EQ(idle.ReadAction(), "closed");
  EXPECT_EQ(Threads(), before);
}

TEST_F(PolicyServerTest, ItMayBeMadeAndEndedAgainAndAgain) {
  for (int i = 0; i < 20; ++i) {
    Start(10);
    EXPECT_EQ(PolicyClient().Ask(kUnknown), "DUNNO");
    Stop();
  }
}
