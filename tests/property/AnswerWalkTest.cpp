// AnswerWalk compared with a plain implementation of its rules.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "framework/Utilities/StringUtilities.h"
#include "framework/dns/AnswerWalk.h"
#include "framework/dns/DNSSocket.h"
#include "framework/dns/NameServer.h"
#include "tests/property/PlainReply.h"
#include "tests/property/Random.h"
#include "tests/support/Bytes.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScriptedNameServer.h"

using namespace std::string_literals;

namespace {

constexpr std::uint32_t kStart = 29;  // of the answers to a query for example.org

Answers Walk(const Bytes& reply, std::uint32_t start) {
  Answers answers;
  AnswerWalk walk(reply, start);
  AnswerWalk::Answer answer;
  while (walk.Next(answer)) {
    answers.emplace_back(answer.type, answer.value);
  }
  return answers;
}

// Returns the values that a look-up of these answers gives.
std::vector<std::string> ValuesOf(const Answers& answers) {
  std::vector<std::string> values;
  for (const auto& [type, value] : answers) {
    if (!value.empty()) {
      values.push_back(SanitiseUtf8(value));
    }
  }
  return values;
}

Bytes Cut(Bytes bytes, std::size_t length) {
  bytes.resize(std::min(length, bytes.size()));
  bytes.shrink_to_fit();  // so that a sanitizer notices a read past the end
  return bytes;
}

Bytes QueryForExampleOrg() {
  return ToBytes("\x12\x34\1\0\0\1\0\0\0\0\0\0\7example\3org\0\0\1\0\1\0\0\0\0\0\0\0\0"s);
}

// Returns a reply to `query` with a few records of all kinds.
Bytes AnyReply(Random& random, const Bytes& query) {
  ReplyBuilder reply(query);
  for (int left = random.Between(0, 6); left > 0; --left) {
    switch (random.Between(0, 7)) {
      case 0:
        reply.NS("ns.example.net");
        break;
      case 1:
        reply.Record(2, {2, 'n', 's', 0xC0, 0x0C});
        break;
      case 2:
        reply.MX(random.Between<std::uint16_t>(0, 600), "mail.example.org");
        break;
      case 3:
        reply.TXT({"v=spf1 a -all", random.Bytes(random.Between(0U, 200U))});
        break;
      case 4:
        reply.CNAME("host.example.org");
        break;
      case 5: {
        const auto type = random.Between<std::uint16_t>(0, 20);
        reply.Record(type, ToBytes(random.Bytes(random.Between(0U, 20U))));
        break;
      }
      default:
        reply.A("192.0.2.25");
    }
  }
  return reply.Build();
}

// Changes, removes or inserts a few bytes, and perhaps cuts the end off.
Bytes Mutate(Random& random, Bytes reply) {
  for (int left = random.Between(0, 8); left > 0 && !reply.empty(); --left) {
    const auto at = random.Between<std::size_t>(0, reply.size() - 1);
    const auto place = reply.begin() + static_cast<std::ptrdiff_t>(at);
    switch (random.Between(0, 5)) {
      case 0:
        reply.erase(place);
        break;
      case 1:
        reply.insert(place, static_cast<unsigned char>(random.Byte()));
        break;
      case 2:  // a pointer into the reply
        *place = 0xC0;
        break;
      case 3:
        reply = Cut(reply, at);
        break;
      default:
        *place = static_cast<unsigned char>(random.Byte());
    }
  }
  return reply;
}

}  // namespace

TEST(AnswerWalkTest, AReplyIsWalkedByTheRulesWellFormedOrNot) {
  Random random;
  for (int i = 0; i < 30000; ++i) {
    const Bytes whole = AnyReply(random, QueryForExampleOrg());
    const Bytes reply = random.OneIn(5) ? whole : Cut(Mutate(random, whole), 1024);
    ASSERT_EQ(Walk(reply, kStart), PlainReply(reply).Walk(kStart)) << testing::PrintToString(reply);
  }
}

TEST(AnswerWalkTest, RandomBytesAreWalkedByTheRules) {
  Random random;
  const Bytes frequent = {0, 0, 1, 2, 15, 16, 0xC0};  // so that there are types and pointers
  for (int i = 0; i < 5000; ++i) {
    Bytes reply = ToBytes(random.Bytes(random.Between(0U, 1024U)));
    for (unsigned char& byte : reply) {
      byte = random.OneIn(2) ? byte : random.OneOf(frequent);
    }
    const std::uint32_t start = random.Between(0U, 40U);
    ASSERT_EQ(Walk(reply, start), PlainReply(reply).Walk(start)) << testing::PrintToString(reply);
  }
}

TEST(AnswerWalkTest, ALookUpGivesTheValuesOfTheBytesThatItReceives) {
  dns_servers = "127.0.0.1";
  DoNotLog();
  Random random;
  std::mutex mutex;
  Bytes last;  // guarded by mutex
  const ScriptedNameServer server([&](const Bytes& query) {
    const std::lock_guard guard(mutex);
    last = random.OneIn(2) ? ToBytes(random.Bytes(random.Between(0U, 1400U)))
                           : Mutate(random, AnyReply(random, query));
    return Datagrams{last};
  });
  DNSSocket dns("example.org");
  Bytes reply;
  std::vector<std::string> values;
  std::vector<std::string> expected;
  const std::string log = CaptureLog([&] {
    for (int i = 0; i < 2000 && values == expected; ++i) {
      dns.GetTXTRecords(values);
      const std::lock_guard guard(mutex);
      reply = Cut(last, 1024);
      expected = ValuesOf(PlainReply(reply).Walk(kStart));
    }
  });
  EXPECT_EQ(values, expected) << testing::PrintToString(reply);
  EXPECT_EQ(log, "");
}
