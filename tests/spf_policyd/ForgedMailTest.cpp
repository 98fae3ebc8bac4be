// Domains whose forged mail is refused, with records of ip4, a and include: each forged mail is
// refused for each recipient, and no honest one, even while the name server misbehaves.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "tests/property/Random.h"
#include "tests/spf_policyd/DecisionTest.h"
#include "tests/spf_policyd/PolicyClient.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScriptedNameServer.h"

namespace {

using namespace std::chrono_literals;
using Script = ScriptedNameServer::Script;

constexpr int kDomains = 8;

// Has the domains d0.named.test, d1.named.test ..., with four look-ups each.
ScriptedNameServer::Zone MakeZone() {
  ScriptedNameServer::Zone zone;
  for (int i = 0; i < kDomains; ++i) {
    const std::string domain = "d" + std::to_string(i) + ".named.test";
    zone["TXT " + domain] = {"v=spf1 ip4:192.0.2.0/25 a:mail." + domain + " include:spf." + domain +
                             " -all"};
    zone["A mail." + domain] = {"203.0.113.5", "203.0.113.6"};
    zone["TXT spf." + domain] = {"v=spf1 ip4:192.0.2.128/25 a:out." + domain + "/28 ~all"};
    zone["A out." + domain] = {"203.0.113.64"};
  }
  return zone;
}

const std::vector<std::string> kHonest = {"192.0.2.7", "192.0.2.200", "203.0.113.5", "203.0.113.6",
                                          "203.0.113.79"};
const std::vector<std::string> kForged = {"198.51.100.7", "192.0.3.1", "203.0.113.7",
                                          "203.0.113.80", "1.2.3.4"};

// Lets `fault` give each tenth reply about a domain.
Script WithFaults(const Script& fault) {
  return
      [fault, zone = MakeZone(), asked = std::map<std::string, int>()](const Bytes& query) mutable {
        const std::string question = ScriptedNameServer::QuestionOf(query);
        const std::string domain = question.substr(question.find(".named.test") - 2);
        return ++asked[domain] % 10 == 0 ? fault(query)
                                         : Datagrams{ScriptedNameServer::AnswerFrom(zone, query)};
      };
}

// Replies with each of the error codes in turn.
Datagrams ErrorCode(const Bytes& query) {
  static std::atomic<unsigned int> replies{0};
  const auto code = static_cast<std::uint16_t>(1 + ++replies % 15);
  return {ReplyBuilder(query).SetFlags(0x8180 | (code == 3 ? 5 : code)).Build()};
}

// Replies with a truncated answer, which has part of the answer or nothing.
Datagrams Truncation(const Bytes& query) {
  static std::atomic<unsigned int> replies{0};
  ReplyBuilder reply(query);
  reply.SetFlags(0x8380);
  if (++replies % 2 == 0) {
    reply.TXT({"v=spf1 -all"});
  }
  return {reply.Build()};
}

class ForgedMailTest : public DecisionTest {
 protected:
  ForgedMailTest() {
    m_settings = MakeSettings(".named.test");
    m_settings.timeLimit = 3200ms;
  }

  // Returns the answer for a recipient of a mail.
  std::string Answer(const std::string& address, const std::string& domain,
                     const std::string& recipient, const std::string& message) {
    return DecisionTest::Answer(Request(address, "a@" + domain, recipient, message));
  }

  // Calls `mail` for all domains at once.
  template <typename Mail>
  static void ForEachDomain(const Mail& mail) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < kDomains; ++i) {
      threads.emplace_back([&mail, i] { mail("d" + std::to_string(i) + ".named.test"); });
    }
  }

  // Expects that forged mail is refused for each of three recipients, and no honest mail is.
  void ExpectRightAnswers(const Script& script) {
    const ScriptedNameServer server(script);
    ForEachDomain([this](const std::string& domain) {
      for (int i = 0; i < 20; ++i) {
        const auto index = static_cast<std::size_t>(i) % kHonest.size();
        const std::string message = domain + std::to_string(i);
        for (const char* const recipient : {"first", "second", "third"}) {
          const std::string honest = Answer(kHonest[index], domain, recipient, "h" + message);
          EXPECT_EQ(honest.find("550"), std::string::npos) << honest;
          const std::string forged = Answer(kForged[index], domain, recipient, "f" + message);
          EXPECT_TRUE(forged.starts_with("550 5.7.23 ")) << forged;
        }
      }
    });
  }
};

}  // namespace

TEST_F(ForgedMailTest, EachForgedMailIsRefusedAndNoHonestOne) {
  ExpectRightAnswers([zone = MakeZone()](const Bytes& query) {
    return Datagrams{ScriptedNameServer::AnswerFrom(zone, query)};
  });
}

TEST_F(ForgedMailTest, AlsoIfOneAnswerInTenIsLost) {
  ExpectRightAnswers(WithFaults(Silence));
}

TEST_F(ForgedMailTest, AlsoIfOneAnswerInTenIsAnErrorCode) {
  ExpectRightAnswers(WithFaults(ErrorCode));
}

TEST_F(ForgedMailTest, AlsoIfOneAnswerInTenIsTruncated) {
  ExpectRightAnswers(WithFaults(Truncation));
}

TEST_F(ForgedMailTest, IfHalfOfAllAnswersAreMissingNoHonestMailIsRefused) {
  Random random;
  m_settings.timeLimit = 320ms;
  const ScriptedNameServer server([&random, zone = MakeZone()](const Bytes& query) {
    const Script faults[] = {Silence, ErrorCode, Truncation};
    return random.OneIn(2) ? random.OneOf(faults)(query)
                           : Datagrams{ScriptedNameServer::AnswerFrom(zone, query)};
  });
  ForEachDomain([this](const std::string& domain) {
    for (int i = 0; i < 20; ++i) {
      const std::string& address = kHonest[static_cast<std::size_t>(i) % kHonest.size()];
      const std::string action = Answer(address, domain, "first", domain + std::to_string(i));
      EXPECT_TRUE(action.starts_with("PREPEND ")) << action;
    }
  });
}
