// Replies that no honest server sends: none of them may crash or block a look-up, or let it read
// outside the bytes received.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <iostream>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "framework/Utilities/StringUtilities.h"
#include "framework/dns/AnswerWalk.h"
#include "framework/dns/DNSSocket.h"
#include "framework/dns/NameServer.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScriptedNameServer.h"

using namespace std::string_literals;

namespace {

using Texts = std::vector<std::string>;
using Numbers = std::vector<std::uint16_t>;

constexpr std::uint32_t kStart = 29;  // of the answers to a query for example.org
constexpr unsigned int kSeed = 20240301;

// Type and value of each record.
using Answers = std::vector<std::pair<unsigned int, std::string>>;

// The rules of the walk a second time, in plain steps.
class PlainWalk {
 public:
  explicit PlainWalk(const Bytes& reply) : m_reply(reply) {}

  Answers Run(std::uint32_t position) const {
    Answers answers;
    const unsigned int count = At(6) * 256 + At(7);
    for (unsigned int i = 0; i < count && position < m_reply.size(); ++i) {
      std::uint32_t consumed = 0;
      Name(position, consumed);
      position += consumed;
      const unsigned int type = At(position) * 256 + At(position + 1);
      const unsigned int rdLength = At(position + 8) * 256 + At(position + 9);
      position += 10;
      std::string value;
      if (type == 1) {
        value = Address(position, rdLength);
        position += rdLength;
      } else if (type == 16) {
        value = Text(position);
        position += static_cast<std::uint32_t>(value.size());
        position -= 1;
      } else if (type == 2 || type == 15) {
        value = Name(position, consumed);
        position += consumed;
      }
      answers.emplace_back(type, value);
    }
    return answers;
  }

 private:
  unsigned int At(std::uint32_t position) const {
    return position < m_reply.size() ? m_reply[position] : 0;
  }

  std::string Name(std::uint32_t position, std::uint32_t& consumed) const {
    unsigned char scratch[1024 + 1] = {};
    std::size_t gathered = 0;
    std::size_t jumps = 0;
    consumed = 1;
    while (At(position) != 0 && gathered < 1024 && jumps <= m_reply.size()) {
      if (At(position) > 191) {
        position = At(position) * 256 + At(position + 1) - 49152;
        ++jumps;
        continue;
      }
      scratch[gathered++] = static_cast<unsigned char>(At(position++));
      if (jumps == 0) {
        ++consumed;
      }
    }
    if (gathered == 0) {
      return "";
    }
    if (jumps > 0) {
      ++consumed;
    }
    for (std::size_t i = 0; i < gathered; ++i) {
      for (int left = scratch[i]; left > 0 && scratch[i + 1] != 0; --left, ++i) {
        scratch[i] = scratch[i + 1];
      }
      scratch[i] = '.';
    }
    return {scratch, scratch + gathered - 1};
  }

  std::string Text(std::uint32_t position) const {
    std::string text;
    for (++position; At(position) != 0; ++position) {
      text += static_cast<char>(At(position));
    }
    return text;
  }

  std::string Address(std::uint32_t position, unsigned int rdLength) const {
    std::string address;
    for (unsigned int i = 0; i < 4; ++i) {
      address += (i == 0 ? "" : ".") + std::to_string(i < rdLength ? At(position + i) : 0);
    }
    return address;
  }

  const Bytes& m_reply;
};

Answers Walk(const Bytes& reply, std::uint32_t start) {
  Answers answers;
  AnswerWalk walk(reply, start);
  AnswerWalk::Answer answer;
  while (walk.Next(answer)) {
    answers.emplace_back(answer.type, answer.value);
  }
  return answers;
}

// What a look-up makes of answers.
Texts ValuesOf(const Answers& answers) {
  Texts values;
  for (const auto& [type, value] : answers) {
    if (!value.empty()) {
      values.push_back(SanitiseUtf8(value));
    }
  }
  return values;
}

Bytes ToBytes(const std::string& text) {
  return {text.begin(), text.end()};
}

Bytes Cut(Bytes bytes, std::size_t length) {
  bytes.resize(std::min(length, bytes.size()));
  bytes.shrink_to_fit();  // so that a sanitizer sees a read behind them
  return bytes;
}

Bytes QueryForExampleOrg() {
  return ToBytes("\x12\x34\1\0\0\1\0\0\0\0\0\0\7example\3org\0\0\1\0\1\0\0\0\0\0\0\0\0"s);
}

ReplyBuilder Reply() {
  return ReplyBuilder(QueryForExampleOrg());
}

class Random {
 public:
  // Up to and including last.
  unsigned int Number(unsigned int last) {
    return std::uniform_int_distribution<unsigned int>(0, last)(m_engine);
  }

  unsigned char Byte() { return static_cast<unsigned char>(Number(255)); }

  Bytes Data(unsigned int longest) {
    Bytes data(Number(longest));
    std::generate(data.begin(), data.end(), [this] { return Byte(); });
    return data;
  }

  // A well-formed reply to query with a few records of all kinds.
  Bytes GoodReply(const Bytes& query) {
    ReplyBuilder reply(query);
    for (unsigned int left = Number(6); left > 0; --left) {
      switch (Number(7)) {
        case 0:
          reply.NS("ns.example.net");
          break;
        case 1:
          reply.Record(2, {2, 'n', 's', 0xC0, 0x0C});
          break;
        case 2:
          reply.MX(static_cast<std::uint16_t>(Number(600)), "mail.example.org");
          break;
        case 3:
          reply.TXT({"v=spf1 a -all", "more"});
          break;
        case 4:
          reply.CNAME("host.example.org");
          break;
        case 5:
          reply.Record(static_cast<std::uint16_t>(Number(20)), Data(20));
          break;
        default:
          reply.A("192.0.2.25");
      }
    }
    return reply.Build();
  }

  // A few bytes of reply changed, taken out or put in, and perhaps its end cut.
  Bytes Mutate(Bytes reply) {
    for (unsigned int left = Number(8); left > 0 && !reply.empty(); --left) {
      const auto at = Number(static_cast<unsigned int>(reply.size() - 1));
      switch (Number(5)) {
        case 0:
          reply.erase(reply.begin() + at);
          break;
        case 1:
          reply.insert(reply.begin() + at, Byte());
          break;
        case 2:  // a pointer into the reply
          reply[at] = 0xC0;
          break;
        case 3:
          reply = Cut(reply, at);
          break;
        default:
          reply[at] = Byte();
      }
    }
    return reply;
  }

 private:
  std::mt19937 m_engine{kSeed};
};

class HostileReplyTest : public testing::Test {
 protected:
  HostileReplyTest() {
    dns_servers = "127.0.0.1";
    DoNotLog();
  }

  // The values and the log of an address look-up for example.org that is answered so.
  static void ExpectValues(const std::function<Datagrams(const Bytes& query)>& answer,
                           const Texts& expected) {
    const ScriptedNameServer server(answer);
    Texts values;
    EXPECT_EQ(CaptureLog([&] {
                DNSSocket dns("example.org");
                EXPECT_EQ(dns.GetARecords(values), 0);
              }),
              "");
    EXPECT_EQ(values, expected);
    EXPECT_EQ(server.Queries().size(), 1U);
  }

  static void ExpectValuesOfReply(const std::function<void(ReplyBuilder& reply)>& build,
                                  const Texts& expected) {
    ExpectValues(
        [&](const Bytes& query) {
          ReplyBuilder reply(query);
          build(reply);
          return Datagrams{reply.Build()};
        },
        expected);
  }
};

}  // namespace

// Headers.

TEST_F(HostileReplyTest, AnotherIdIsAccepted) {
  for (const std::uint16_t id : Numbers{0, 0xFFFF}) {
    ExpectValuesOfReply([&](ReplyBuilder& reply) { reply.SetId(id).A("192.0.2.1"); },
                        {"192.0.2.1"});
  }
}

TEST_F(HostileReplyTest, ErrorCodesAreNotLookedAt) {
  for (std::uint16_t code = 0; code < 16; ++code) {
    const auto flags = static_cast<std::uint16_t>(0x8180 | code);
    ExpectValuesOfReply([&](ReplyBuilder& reply) { reply.SetFlags(flags).A("192.0.2.1"); },
                        {"192.0.2.1"});
    ExpectValuesOfReply([&](ReplyBuilder& reply) { reply.SetFlags(flags); }, {});
  }
}

TEST_F(HostileReplyTest, AQueryOrATruncatedReplyIsWalkedAsAnyOther) {
  for (const std::uint16_t flags : Numbers{0x0000, 0x0100, 0x8380, 0xFFFF}) {
    ExpectValuesOfReply([&](ReplyBuilder& reply) { reply.SetFlags(flags).A("192.0.2.1"); },
                        {"192.0.2.1"});
  }
}

TEST_F(HostileReplyTest, TheQueryItselfAsReplyGivesNothing) {
  ExpectValues([](const Bytes& query) { return Datagrams{query}; }, {});
}

TEST_F(HostileReplyTest, AnAnswerCountFarAboveWhatIsThereEndsWithTheReply) {
  ExpectValuesOfReply(
      [](ReplyBuilder& reply) { reply.A("192.0.2.1").A("192.0.2.2").SetAnswerCount(65535); },
      {"192.0.2.1", "192.0.2.2"});
  ExpectValuesOfReply([](ReplyBuilder& reply) { reply.SetAnswerCount(65535); }, {});
}

// Lengths.

TEST_F(HostileReplyTest, AnEmptyDatagramGivesNothing) {
  ExpectValues([](const Bytes&) { return Datagrams{Bytes{}}; }, {});
}

TEST_F(HostileReplyTest, BytesThatAReplyLacksReadAsZeros) {
  const Bytes reply = Reply().A("192.0.2.25").Build();
  ASSERT_EQ(reply.size(), 45U);
  struct Row {
    std::size_t first;
    std::size_t last;
    Answers answers;
  };
  const Row rows[] = {
      {0, 29, {}},                   // no record
      {30, 32, {{0, ""}}},           // its type is not whole
      {33, 41, {{1, "0.0.0.0"}}},    // no data, or no length
      {42, 43, {{1, "192.0.0.0"}}},  // the second octet is 0
      {44, 44, {{1, "192.0.2.0"}}},
      {45, 45, {{1, "192.0.2.25"}}},
  };
  for (const Row& row : rows) {
    for (std::size_t length = row.first; length <= row.last; ++length) {
      EXPECT_EQ(Walk(Cut(reply, length), kStart), row.answers) << length << " bytes";
    }
  }
}

TEST_F(HostileReplyTest, AReplyMayBeCutAtEachByte) {
  const auto build = [](const Bytes& query) {
    return ReplyBuilder(query)
        .SetId(0x1234)  // of the other query: a cut name may end up in the header
        .NS("ns.example.net")
        .TXT({"v=spf1 a -all"})
        .Record(2, {0xC0, 0x0C})
        .MX(300, "mail.test")
        .A("192.0.2.25")
        .Build();
  };
  std::atomic<std::size_t> length = 0;
  const ScriptedNameServer server(
      [&](const Bytes& query) { return Datagrams{Cut(build(query), length)}; });
  const Bytes whole = build(QueryForExampleOrg());
  Texts values;
  for (; length <= whole.size(); ++length) {
    DNSSocket dns("example.org");
    EXPECT_EQ(CaptureLog([&] { dns.GetARecords(values); }), "");
    EXPECT_EQ(values, ValuesOf(PlainWalk(Cut(whole, length)).Run(kStart))) << length << " bytes";
  }
  EXPECT_EQ(values,
            (Texts{"ns.example.net", "v=spf1 a -all", "example.org", ",.mail.test", "192.0.2.25"}));
}

TEST_F(HostileReplyTest, AReplyOfMoreThan1024BytesIsCutThere) {
  // The header and the question take 29 bytes, each record 16: 62 records are whole, the next one
  // has three bytes left.
  ExpectValuesOfReply(
      [](ReplyBuilder& reply) {
        for (int i = 0; i < 4000; ++i) {
          reply.A("192.0.2.1");
        }
      },
      Texts(62, "192.0.2.1"));
}

TEST_F(HostileReplyTest, ATextThatFillsTheWholeBufferEndsWithIt) {
  // 1024 bytes without header and question (29), the record's fixed part (12), one length byte.
  ExpectValuesOfReply([](ReplyBuilder& reply) { reply.Record(16, Bytes(5000, 'x')); },
                      {std::string(1024 - 29 - 12 - 1, 'x')});
}

// Records.

TEST_F(HostileReplyTest, AnAddressWithoutDataIsFilledWithZeros) {
  ExpectValuesOfReply([](ReplyBuilder& reply) { reply.Record(1, {}).A("192.0.2.1"); },
                      {"0.0.0.0", "192.0.2.1"});
}

TEST_F(HostileReplyTest, AnAddressOfThreeBytesIsFilledWithAZero) {
  ExpectValuesOfReply(
      [](ReplyBuilder& reply) {
        reply.Record(1, {192, 1, 2}).A("192.0.2.1");
      },
      {"192.1.2.0", "192.0.2.1"});
}

TEST_F(HostileReplyTest, AnAddressWhoseLengthPassesTheEndEndsTheWalk) {
  for (const std::uint16_t length : Numbers{32, 65535}) {
    ExpectValuesOfReply(
        [&](ReplyBuilder& reply) {
          reply.Record(1, length, {192, 0, 2, 1}).A("192.0.2.2");
        },
        {"192.0.2.1"});
  }
}

TEST_F(HostileReplyTest, AnAddressWhoseLengthIsTooSmallPutsTheWalkOutOfStep) {
  // It goes on at the second octet: a name of two bytes, and the third and fourth as type.
  ExpectValuesOfReply(
      [](ReplyBuilder& reply) {
        reply.Record(1, 1, {192, 0, 2, 1}).A("192.0.2.2");
      },
      {"192.0.0.0"});
}

// Names.

TEST_F(HostileReplyTest, APointerPastTheEndEndsTheName) {
  ExpectValuesOfReply(
      [](ReplyBuilder& reply) {
        reply.Record(2, {0xFF, 0xFF}).Record(2, {1, 'a', 0xFF, 0xFF});
      },
      {});
  ExpectValuesOfReply(
      [](ReplyBuilder& reply) {
        reply.Record(2, {1, 'a', 0xFF, 0xFF}).A("192.0.2.1");
      },
      {"a", "192.0.2.1"});
}

TEST_F(HostileReplyTest, APointerToItselfIsAnEmptyName) {
  // The name server's name stands at 41. Of the pointer one byte is counted; the other becomes part
  // of the next owner.
  ExpectValuesOfReply([](ReplyBuilder& reply) { reply.Record(2, {0xC0, 41}); }, {});
  ExpectValuesOfReply(
      [](ReplyBuilder& reply) {
        reply.Record(2, {0xC0, 41}).A("192.0.2.1");
      },
      {"192.0.2.1"});
}

TEST_F(HostileReplyTest, ACycleOfPointersIsAnEmptyName) {
  ExpectValuesOfReply(
      [](ReplyBuilder& reply) {
        reply.Record(2, {0xC0, 43, 0xC0, 45, 0xC0, 41});
      },
      {});
}

TEST_F(HostileReplyTest, ACycleThroughALabelEndsWithTheBytesOfTheReply) {
  // 29 bytes of header and question, 12 of the record, 4 of data: the 46th pointer is one too many.
  std::string name = "a";
  for (int label = 1; label < 46; ++label) {
    name += ".a";
  }
  ExpectValuesOfReply([](ReplyBuilder& reply) { reply.Record(2, {1, 'a', 0xC0, 41}); }, {name});
}

TEST_F(HostileReplyTest, ANameOfMoreThan1024BytesEndsThereAndTheWalkStaysInStep) {
  std::string labels;
  std::string name;
  for (int i = 0; i < 100; ++i) {
    labels += "\5aaaaa";
  }
  for (int i = 0; i < 170; ++i) {
    name += "aaaaa.";
  }
  name += "aaa";
  ExpectValuesOfReply(
      [&](ReplyBuilder& reply) { reply.Record(2, ToBytes(labels + "\xC0\x29")).A("192.0.2.1"); },
      {name, "192.0.2.1"});
}

TEST_F(HostileReplyTest, ANameWithoutAnEndEndsWithTheReply) {
  ExpectValuesOfReply([](ReplyBuilder& reply) { reply.Record(2, Bytes(5000, 1)); }, {[] {
                        std::string name = "\1";
                        for (int label = 1; label < (1024 - 29 - 12 + 1) / 2; ++label) {
                          name += ".\1";
                        }
                        return SanitiseUtf8(name);
                      }()});
}

// Senders.

TEST_F(HostileReplyTest, OfTwoRepliesTheFirstCounts) {
  ExpectValues(
      [](const Bytes& query) {
        return Datagrams{ReplyBuilder(query).A("192.0.2.1").Build(),
                         ReplyBuilder(query).A("192.0.2.2").Build()};
      },
      {"192.0.2.1"});
}

TEST_F(HostileReplyTest, DatagramsThatWaitTogetherAreReadAsOneReply) {
  class SlowSocket : public DNSSocket {
   public:
    using DNSSocket::DNSSocket;

    ssize_t ReceiveRaw(char* buffer, unsigned int length) override {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      return DNSSocket::ReceiveRaw(buffer, length);
    }
  };
  const ScriptedNameServer server([](const Bytes& query) {
    const Bytes whole = ReplyBuilder(query).A("192.0.2.1").A("192.0.2.2").Build();
    const auto middle = whole.begin() + kStart + 16;
    return Datagrams{{whole.begin(), middle}, {middle, whole.end()}};
  });
  Texts values;
  EXPECT_EQ(CaptureLog([&] { SlowSocket("example.org").GetARecords(values); }), "");
  EXPECT_EQ(values, (Texts{"192.0.2.1", "192.0.2.2"}));
}

TEST_F(HostileReplyTest, AReplyFromAnotherAddressAndPortCounts) {
  const ScriptedNameServer server(
      [](const Bytes& query) { return Datagrams{ReplyBuilder(query).A("192.0.2.1").Build()}; },
      "127.0.0.2");
  Texts values;
  EXPECT_EQ(CaptureLog([&] { DNSSocket("example.org").GetARecords(values); }), "");
  EXPECT_EQ(values, (Texts{"192.0.2.1"}));
}

TEST_F(HostileReplyTest, NoReplyAtAllCostsFiveSecondsAndADebugLine) {
  const ScriptedNameServer server([](const Bytes&) { return Datagrams{}; });
  Texts values = {"old"};
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(CaptureLog([&] { DNSSocket("example.org").GetARecords(values); }),
            "Debug: DNSSocket::DoQuery - UDPSocketTimeoutException - UDPSocket::SelectReadWrite - "
            "timed out (5000) while reading from the socket on () :: failed with code 110: "
            "Connection timed out\n");
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_EQ(values, Texts{});
  EXPECT_GE(elapsed.count(), 4.9);
  EXPECT_LT(elapsed.count(), 8.0);
  EXPECT_EQ(server.Queries().size(), 1U);
}

// Everything.

TEST_F(HostileReplyTest, MutatedRepliesAreWalkedByTheRules) {
  std::cout << "seed " << kSeed << "\n";
  Random random;
  for (int i = 0; i < 60000; ++i) {
    const Bytes reply = Cut(random.Mutate(random.GoodReply(QueryForExampleOrg())), 1024);
    ASSERT_EQ(Walk(reply, kStart), PlainWalk(reply).Run(kStart)) << testing::PrintToString(reply);
  }
}

TEST_F(HostileReplyTest, RandomBytesAreWalkedByTheRules) {
  std::cout << "seed " << kSeed << "\n";
  Random random;
  for (int i = 0; i < 30000; ++i) {
    Bytes reply = random.Data(1024);
    for (unsigned char& byte : reply) {  // few values, so that types and pointers come up
      byte = random.Number(1) == 0 ? byte : Bytes{0, 0, 1, 2, 15, 16, 0xC0}[random.Number(6)];
    }
    const std::uint32_t start = random.Number(40);
    ASSERT_EQ(Walk(reply, start), PlainWalk(reply).Run(start)) << testing::PrintToString(reply);
  }
}

TEST_F(HostileReplyTest, RandomDatagramsGiveALookUpWhatTheRulesSay) {
  std::cout << "seed " << kSeed << "\n";
  Random random;
  std::mutex mutex;
  Bytes last;  // guarded by mutex
  const ScriptedNameServer server([&](const Bytes& query) {
    const std::lock_guard guard(mutex);
    last = random.Number(1) == 0 ? random.Data(1400) : random.Mutate(random.GoodReply(query));
    return Datagrams{last};
  });
  DNSSocket dns("example.org");
  Texts values;
  const std::string log = CaptureLog([&] {
    for (int i = 0; i < 3000 && !HasFailure(); ++i) {
      EXPECT_EQ(dns.GetTXTRecords(values), 0);
      const std::lock_guard guard(mutex);
      EXPECT_EQ(values, ValuesOf(PlainWalk(last = Cut(last, 1024)).Run(kStart)))
          << testing::PrintToString(last);
    }
  });
  EXPECT_EQ(log, "");
}
