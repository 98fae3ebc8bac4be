// PolicyServer: its connections, its threads and its end.

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

#include "tests/spf_policyd/ExampleMail.h"
#include "tests/spf_policyd/ServerTest.h"
#include "tests/support/Waiting.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

std::ptrdiff_t Threads() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

using PolicyServerTest = ServerTest;

// Answers from GoOn() on.
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

}  // namespace

TEST_F(PolicyServerTest, EachConnectionIsServed) {
  const ScriptedNameServer names(kZone);
  Start(100, MakeSettings("example.org"));
  const PolicyClients clients = MakeClients(20);
  for (int round = 0; round < 3; ++round) {
    for (const auto& client : clients) {
      client->Write(Mail() + Forged() + kUnchecked);
    }
    for (const auto& client : clients) {
      EXPECT_TRUE(client->ReadAction().starts_with("PREPEND "));
      EXPECT_TRUE(client->ReadAction().starts_with("550 "));
      EXPECT_EQ(client->ReadAction(), "DUNNO");
    }
  }
}

TEST_F(PolicyServerTest, EachListenerIsServed) {
  PolicyServer server(
      {ListenAddress("127.0.0.1:10040").Open(), ListenAddress("127.0.0.1:10041").Open()}, 10,
      std::make_shared<const Settings>(MakeSettings()));
  EXPECT_EQ(PolicyClient(10040).Ask(kUnchecked), "DUNNO");
  EXPECT_EQ(PolicyClient(10041).Ask(kUnchecked), "DUNNO");
}

TEST_F(PolicyServerTest, AMalformedRequestClosesItsConnectionOnly) {
  Start(10);
  PolicyClient bystander;
  PolicyClient client;
  EXPECT_EQ(client.Ask("no equals sign\n"), "closed");
  EXPECT_EQ(bystander.Ask(kUnchecked), "DUNNO");
}

TEST_F(PolicyServerTest, IdleThreadsEnd) {
  const ScriptedNameServer silent(Silence);
  Settings settings = MakeSettings();
  settings.timeLimit = 500ms;
  Start(100, settings);
  const PolicyClients clients = MakeClients(40);
  for (const auto& client : clients) {
    client->Write(Mail());
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
  const ScriptedNameServer silent(Silence);
  Start(100);
  const PolicyClients clients = MakeClients(20);
  for (const auto& client : clients) {
    client->Write(Mail());
  }
  EXPECT_TRUE(ComesTrue([&] { return silent.Queries().size() == 20; }));
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(PolicyClient().Ask(kUnchecked), "DUNNO");
  EXPECT_LT(Clock::now() - start, 3s);
}

TEST_F(PolicyServerTest, WhenAllConnectionsAreTakenTheIdlestIsClosed) {
  Start(3);
  const PolicyClients clients = MakeClients(3);
  for (const std::size_t i : {0U, 1U, 2U, 0U}) {
    EXPECT_EQ(clients[i]->Ask(kUnchecked), "DUNNO");
    std::this_thread::sleep_for(50ms);  // so that the times of their answers differ
  }
  PolicyClient next;
  EXPECT_EQ(next.Ask(kUnchecked), "DUNNO");
  EXPECT_EQ(clients[1]->ReadAction(), "closed");
  EXPECT_EQ(clients[0]->Ask(kUnchecked), "DUNNO");
  EXPECT_EQ(clients[2]->Ask(kUnchecked), "DUNNO");
}

TEST_F(PolicyServerTest, AClientThatSendsSlowlyIsClosedBeforeOneThatIsServed) {
  Start(2);
  PolicyClient slow;
  EXPECT_TRUE(slow.Write("na"));
  PolicyClient served;
  EXPECT_EQ(served.Ask(kUnchecked), "DUNNO");
  for (int i = 0; i < 10; ++i) {
    EXPECT_TRUE(slow.Write("m"));
    std::this_thread::sleep_for(10ms);
  }
  EXPECT_EQ(PolicyClient().Ask(kUnchecked), "DUNNO");
  EXPECT_EQ(slow.ReadAction(), "closed");
  EXPECT_EQ(served.Ask(kUnchecked), "DUNNO");
}

TEST_F(PolicyServerTest, AConnectionWhoseRequestIsBeingDecidedIsNotClosed) {
  WaitingNameServer names;
  Start(1);
  PolicyClient first;
  EXPECT_TRUE(first.Write(Mail()));
  names.WaitForQuestion();
  PolicyClient second;
  EXPECT_TRUE(second.Write(kUnchecked));
  EXPECT_FALSE(second.HasAnswer(200));
  names.GoOn();
  EXPECT_TRUE(first.ReadAction().starts_with("PREPEND "));
  EXPECT_EQ(second.ReadAction(), "DUNNO");
}

TEST_F(PolicyServerTest, TheCheckForAClientThatHangsUpEnds) {
  const ScriptedNameServer silent(Silence);
  Start(4);
  PolicyClients clients = MakeClients(4);
  std::ranges::for_each(clients, [&](const auto& client) { client->Write(Mail()); });
  EXPECT_TRUE(ComesTrue([&] { return silent.Queries().size() == 3; }));
  EXPECT_TRUE(ComesTrue([&] {
    return std::ranges::any_of(clients, [](const auto& client) { return client->HasAnswer(0); });
  })) << "too busy";
  clients.clear();
  const Clock::time_point start = Clock::now();
  EXPECT_TRUE(ComesTrue([&] {
    clients = MakeClients(1);
    clients.front()->Write(Mail());
    return !clients.front()->HasAnswer(50) && silent.Queries().size() > 3;
  }));
  EXPECT_LT(Clock::now() - start, 4s);  // a look-up would take five
}

TEST_F(PolicyServerTest, AtTheEndOnlyRequestsThatAreBeingDecidedAreAnswered) {
  WaitingNameServer names;
  const auto before = Threads();
  Start(10);
  PolicyClient idle;
  EXPECT_EQ(idle.Ask(kUnchecked), "DUNNO");
  PolicyClient asking;
  EXPECT_TRUE(asking.Write(Mail() + kUnchecked));
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

TEST_F(PolicyServerTest, ManyServersMayFollowOneAnother) {
  for (int i = 0; i < 20; ++i) {
    Start(10);
    EXPECT_EQ(PolicyClient().Ask(kUnchecked), "DUNNO");
    Stop();
  }
}
