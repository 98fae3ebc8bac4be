// The built program, asked over TCP as Postfix asks it.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/policy_server/PolicyClient.h"
#include "tests/policy_server/RunningServer.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScriptedNameServer.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Lines = std::vector<std::string>;

constexpr char kPort[] = "10040";
constexpr char kAllowed[] = "action=DUNNO\n\n";
constexpr char kRefused[] =
    "action=550 5.7.23 SPF: 198.51.100.7 may not send mail for example.org\n\n";

const std::string kGoodRequest = Request("192.0.2.7", "a@example.org");
const std::string kBadRequest = Request("198.51.100.7", "a@example.org");

// The program beside a name server that knows example.org.
class PolicyServerTest : public testing::Test {
 protected:
  PolicyServerTest()
      : m_names({{"TXT example.org", {"v=spf1 ip4:192.0.2.0/24 -all"}},
                 {"TXT bare.test", {"v=spf1 ip4"}}}),
        m_server((SetResolverFile("nameserver 127.0.0.1\n"), std::make_unique<RunningServer>())) {}

  RunningServer& Server() { return *m_server; }

  // What the program answers text with, on a connection of its own.
  static std::string Ask(const std::string& text) {
    const PolicyClient client(kPort);
    client.Write(text);
    return client.ReadAnswer();
  }

  void ExpectGoodEnd() {
    const ChildResult result = m_server->Stop();
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_EQ(result.standardError, "");
  }

 private:
  ScriptedNameServer m_names;
  std::unique_ptr<RunningServer> m_server;
};

Datagrams Silence(const Bytes& /*query*/) {
  return {};
}

// Answers for slow.test alone, with a record whose look-ups then wait for 20 s.
Datagrams SlowRecord(const Bytes& query) {
  if (std::string(query.begin(), query.end()).find("slow") == std::string::npos) {
    return {};
  }
  return {ReplyBuilder(query).TXT({"v=spf1 a:1.test a:2.test a:3.test a:4.test"}).Build()};
}

// Waits, at most 10 s, until so many questions were asked.
void WaitForQuestions(const ScriptedNameServer& names, std::size_t count) {
  for (int attempt = 0; attempt < 1000 && names.Queries().size() < count; ++attempt) {
    std::this_thread::sleep_for(10ms);
  }
}

}  // namespace

TEST_F(PolicyServerTest, EachRequestOfAConnectionIsAnswered) {
  const PolicyClient client(kPort);
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(client.Write(kGoodRequest));
    EXPECT_EQ(client.ReadAnswer(), kAllowed);
    EXPECT_TRUE(client.Write(kBadRequest));
    EXPECT_EQ(client.ReadAnswer(), kRefused);
  }
  ExpectGoodEnd();
}

TEST_F(PolicyServerTest, RequestsMayComeTogetherOrByteByByte) {
  const PolicyClient client(kPort);
  EXPECT_TRUE(client.Write(kGoodRequest + kBadRequest));
  EXPECT_EQ(client.ReadAnswer(), kAllowed);
  EXPECT_EQ(client.ReadAnswer(), kRefused);
  for (const char byte : kBadRequest) {
    EXPECT_TRUE(client.Write(std::string(1, byte)));
    std::this_thread::sleep_for(1ms);
  }
  EXPECT_EQ(client.ReadAnswer(), kRefused);
  ExpectGoodEnd();
}

TEST_F(PolicyServerTest, AnOutsidersTextAddsNoLineToAnAnswer) {
  EXPECT_EQ(Ask(Request("198.51.100.7", "a@x\raction=OK\v.example.org")), kAllowed);
  EXPECT_EQ(Ask(Request("198.51.100.7", "a\r\x85@example.org")), kRefused);
  ExpectGoodEnd();
  EXPECT_EQ(Server().Log().at(1),
            "Info: PolicyConnection::Answer - DUNNO (0) client 198.51.100.7 "
            "sender <a@x?action=OK?.example.org> helo h.test");
}

TEST_F(PolicyServerTest, ARequestThatItDoesNotKnowIsAnsweredToo) {
  const PolicyClient client(kPort);
  EXPECT_TRUE(client.Write("request=other\n\n"));
  EXPECT_EQ(client.ReadAnswer(), kAllowed);
  EXPECT_TRUE(client.Write(kBadRequest));
  EXPECT_EQ(client.ReadAnswer(), kRefused);
  ExpectGoodEnd();
}

TEST_F(PolicyServerTest, ARecordThatBreaksTheCheckIsNoObjection) {
  const PolicyClient client(kPort);
  EXPECT_TRUE(client.Write(Request("192.0.2.7", "a@bare.test")));
  EXPECT_EQ(client.ReadAnswer(), kAllowed);
  EXPECT_TRUE(client.Write(kBadRequest));
  EXPECT_EQ(client.ReadAnswer(), kRefused);
  ExpectGoodEnd();
}

TEST_F(PolicyServerTest, WhatIsNoRequestClosesTheConnectionAndOthersAreServedOn) {
  const PolicyClient bystander(kPort);
  std::string attributes;
  for (int i = 0; i <= 100; ++i) {
    attributes += std::to_string(i) + "=\n";
  }
  std::string lines;
  for (int i = 0; i < 700; ++i) {
    lines += "name=" + std::string(100, 'x') + "\n";
  }
  const struct {
    std::string text;
    std::string fault;
  } rows[] = {
      {"no equals sign\n", "line without \"=\""}, {"\n", "request without an attribute"},
      {std::string(2049, 'x'), "line too long"},  {std::string(1 << 20, 'x'), "line too long"},
      {attributes, "too many attributes"},        {lines, "request too long"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Ask(row.text), "closed") << row.fault;
    EXPECT_TRUE(bystander.Write(kBadRequest));
    EXPECT_EQ(bystander.ReadAnswer(), kRefused) << row.fault;
    EXPECT_TRUE(Server().WaitForLog("Warning: PolicyConnection::ObjectThreadMethod - closed (0): " +
                                    row.fault));
  }
  ExpectGoodEnd();
}

TEST_F(PolicyServerTest, ARequestCutShortIsAWarning) {
  const PolicyClient client(kPort);
  EXPECT_TRUE(client.Write("request=smtpd_access_policy\nsender=a@exa"));
  client.EndWriting();
  EXPECT_EQ(client.ReadAnswer(), "closed");
  ExpectGoodEnd();
  EXPECT_EQ(Server().Log().at(1),
            "Warning: PolicyConnection::ObjectThreadMethod - closed (0): end within a request");
}

TEST_F(PolicyServerTest, ManyConnectionsAreServedAtOnce) {
  std::vector<std::jthread> clients;
  std::vector<std::string> answers(50);
  for (std::size_t i = 0; i < answers.size(); ++i) {
    clients.emplace_back([i, &answers] {
      const PolicyClient client(kPort);
      for (int request = 0; request < 10; ++request) {
        client.Write(i % 2 == 0 ? kGoodRequest : kBadRequest);
        answers[i] += client.ReadAnswer();
      }
    });
  }
  clients.clear();
  for (std::size_t i = 0; i < answers.size(); ++i) {
    std::string wanted;
    for (int request = 0; request < 10; ++request) {
      wanted += i % 2 == 0 ? kAllowed : kRefused;
    }
    EXPECT_EQ(answers[i], wanted);
  }
  EXPECT_TRUE(Server().WaitForLines(501));  // one for each, and the first
  ExpectGoodEnd();
  EXPECT_EQ(Server().Log().size(), 502U);
}

TEST_F(PolicyServerTest, TheConnectionAfterTheTwoHundredthWaitsForAnEnd) {
  std::vector<std::unique_ptr<PolicyClient>> clients;
  for (int i = 0; i < 200; ++i) {
    clients.push_back(std::make_unique<PolicyClient>(kPort));
    clients.back()->Write(kGoodRequest);
    EXPECT_EQ(clients.back()->ReadAnswer(), kAllowed);
  }
  const PolicyClient next(kPort);
  next.Write(kBadRequest);
  EXPECT_FALSE(next.HasAnswer(1000));
  clients.erase(clients.begin() + 100);
  EXPECT_EQ(next.ReadAnswer(), kRefused);
  ExpectGoodEnd();
}

TEST_F(PolicyServerTest, EachSignalEndsItAndClosesItsConnections) {
  const PolicyClient idle(kPort);
  const PolicyClient half(kPort);
  EXPECT_TRUE(idle.Write(kGoodRequest));
  EXPECT_EQ(idle.ReadAnswer(), kAllowed);
  EXPECT_TRUE(half.Write("sender=half"));
  ExpectGoodEnd();
  EXPECT_EQ(idle.ReadAnswer(), "closed");
  EXPECT_EQ(half.ReadAnswer(), "closed");
  EXPECT_EQ(Server().Log(), (Lines{"Info: policy_server listens on 127.0.0.1:10040",
                                   "Info: PolicyConnection::Answer - DUNNO (0) client 192.0.2.7 "
                                   "sender <a@example.org> helo h.test",
                                   "Info: policy_server ends on signal 15"}));

  RunningServer again;
  again.Signal(SIGINT);
  EXPECT_EQ(again.Wait().exitStatus, 0);
  EXPECT_EQ(again.Log(), (Lines{"Info: policy_server listens on 127.0.0.1:10040",
                                "Info: policy_server ends on signal 2"}));
}

TEST_F(PolicyServerTest, ItsLogTellsEachDecision) {
  Ask(kGoodRequest);
  Ask(kBadRequest);
  Ask(Request("192.0.2.7", "a@bare.test"));
  ExpectGoodEnd();
  EXPECT_EQ(
      Server().Log(),
      (Lines{"Info: policy_server listens on 127.0.0.1:10040",
             "Info: PolicyConnection::Answer - DUNNO (0) client 192.0.2.7 sender <a@example.org> "
             "helo h.test",
             "Info: PolicyConnection::Answer - 550 5.7.23 SPF: 198.51.100.7 may not send mail for "
             "example.org (0) client 198.51.100.7 sender <a@example.org> helo h.test",
             "Warning: PolicyDecision::Decide - check of 192.0.2.7 for bare.test: "
             "basic_string::substr: __pos (which is 4) > this->size() (which is 3)",
             "Info: PolicyConnection::Answer - DUNNO (0) client 192.0.2.7 sender <a@bare.test> "
             "helo h.test",
             "Info: policy_server ends on signal 15"}));
}

TEST_F(PolicyServerTest, APortInUseIsToldAndEndsTheSecondServer) {
  const ChildResult second = RunPolicyServer({kPort});
  EXPECT_EQ(second.standardError,
            "policy_server: PolicyServer::Listen - bind 127.0.0.1:10040 :: failed with code 98: "
            "Address already in use\n");
  EXPECT_EQ(second.exitStatus, 1);
  ExpectGoodEnd();
}

TEST(PolicyServerEndTest, ADecisionUnderWayIsAnsweredBeforeTheEnd) {
  const ScriptedNameServer silent(Silence);
  SetResolverFile("nameserver 127.0.0.1\n");
  RunningServer server;
  const PolicyClient client(kPort);
  client.Write(kBadRequest);
  WaitForQuestions(silent, 1);
  server.Signal(SIGTERM);
  EXPECT_EQ(client.ReadAnswer(), kAllowed);
  EXPECT_EQ(client.ReadAnswer(), "closed");
  EXPECT_EQ(server.Wait().exitStatus, 0);
}

TEST(PolicyServerEndTest, ASecondSignalEndsItAtOnce) {
  const ScriptedNameServer silent(Silence);
  SetResolverFile("nameserver 127.0.0.1\n");
  RunningServer server;
  const PolicyClient client(kPort);
  client.Write(kBadRequest);
  WaitForQuestions(silent, 1);
  const Clock::time_point start = Clock::now();
  server.Signal(SIGTERM);
  EXPECT_TRUE(server.WaitForLog("Info: policy_server ends on signal 15"));
  server.Signal(SIGTERM);
  EXPECT_EQ(server.Wait().signal, SIGTERM);
  EXPECT_LT(Clock::now() - start, 4s);  // the look-up's time is 5 s
  EXPECT_EQ(client.ReadAnswer(), "closed");
}

TEST(PolicyServerEndTest, RecordsThatTakeLongHoldNoMoreThanAHundredConnections) {
  const ScriptedNameServer names(SlowRecord);
  SetResolverFile("nameserver 127.0.0.1\n");
  RunningServer server;
  for (int i = 0; i < 200; ++i) {
    const PolicyClient impatient(kPort);
    impatient.Write(Request("198.51.100.7", "a@slow.test"));
  }
  const PolicyClient next(kPort);
  next.Write(Request("198.51.100.7", "a@slow.test"));
  EXPECT_TRUE(next.HasAnswer(5000));
  EXPECT_EQ(next.ReadAnswer(), kAllowed);
  EXPECT_TRUE(
      server.WaitForLog("Warning: PolicyDecision::Decide - no check of 198.51.100.7 for slow.test: "
                        "too many"));
  WaitForQuestions(names, 200);  // for each record, and for its first term
  server.Signal(SIGKILL);
  const Lines questions = names.Questions();
  EXPECT_EQ(std::count(questions.begin(), questions.end(), "TXT slow.test"), 100);
}

TEST(PolicyServerEndTest, OthersAreServedWhileALookUpWaits) {
  const ScriptedNameServer silent(Silence);
  SetResolverFile("nameserver 127.0.0.1\n");
  RunningServer server;
  const PolicyClient waiting(kPort);
  waiting.Write(kBadRequest);
  WaitForQuestions(silent, 1);
  const PolicyClient other(kPort);
  other.Write(Request("2001:db8::1", "a@example.org"));
  EXPECT_EQ(other.ReadAnswer(), kAllowed);
  EXPECT_FALSE(waiting.HasAnswer(0));
  server.Signal(SIGKILL);
}

TEST(PolicyServerStartTest, TheLogIsWhereItIsWanted) {
  const TemporaryDirectory directory;
  RunningServer server({directory.Path("mail-")});
  EXPECT_EQ(server.Stop().exitStatus, 0);
  EXPECT_NE(directory.Read("mail-current.log").find("Info: policy_server listens"),
            std::string::npos);
  EXPECT_TRUE(server.Log().empty());
}

TEST(PolicyServerStartTest, ItListensOnLoopbackOnly) {
  const RunningServer server;
  std::ostringstream sockets;
  sockets << std::ifstream("/proc/self/net/tcp").rdbuf();
  EXPECT_NE(sockets.str().find(" 0100007F:2738 00000000:0000 0A "), std::string::npos);
  EXPECT_EQ(sockets.str().find(" 00000000:2738 "), std::string::npos);
}

TEST(PolicyServerStartTest, WrongArgumentsAreToldTheUsage) {
  const std::vector<std::string> rows[] = {
      {},     {""},       {"0"}, {"65536"}, {"4294967303"},
      {"-1"}, {"10040x"}, {"x"}, {" 25"},   {"10040", "a", "b"},
  };
  for (const auto& row : rows) {
    const ChildResult result = RunPolicyServer(row);
    EXPECT_EQ(result.standardError, "Usage: policy_server PORT [LOG]\n");
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_EQ(result.exitStatus, 1);
  }
}
