// Replies that no honest server sends. None of them may crash or block a look-up, or make it read
// outside the bytes received.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "framework/dns/DNSSocket.h"
#include "framework/dns/NameServer.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScriptedNameServer.h"

namespace {

using Texts = std::vector<std::string>;
using Numbers = std::vector<std::uint16_t>;

constexpr std::uint32_t kStart = 29;  // of the answers to a query for example.org

class HostileReplyTest : public testing::Test {
 protected:
  HostileReplyTest() {
    dns_servers = "127.0.0.1";
    DoNotLog();
  }

  // Expects the values of an address look-up for example.org, without a log line.
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

TEST_F(HostileReplyTest, AnotherIdIsAccepted) {
  for (const std::uint16_t id : Numbers{0, 0xFFFF}) {
    ExpectValuesOfReply([&](ReplyBuilder& reply) { reply.SetId(id).A("192.0.2.1"); },
                        {"192.0.2.1"});
  }
}

TEST_F(HostileReplyTest, ErrorCodesAreIgnored) {
  for (std::uint16_t code = 0; code < 16; ++code) {
    const auto flags = static_cast<std::uint16_t>(0x8180 | code);
    ExpectValuesOfReply([&](ReplyBuilder& reply) { reply.SetFlags(flags).A("192.0.2.1"); },
                        {"192.0.2.1"});
    ExpectValuesOfReply([&](ReplyBuilder& reply) { reply.SetFlags(flags); }, {});
  }
}

TEST_F(HostileReplyTest, AQueryOrATruncatedReplyIsReadLikeAnyOther) {
  for (const std::uint16_t flags : Numbers{0x0000, 0x0100, 0x8380, 0xFFFF}) {
    ExpectValuesOfReply([&](ReplyBuilder& reply) { reply.SetFlags(flags).A("192.0.2.1"); },
                        {"192.0.2.1"});
  }
}

TEST_F(HostileReplyTest, TheQueryAsItsOwnReplyGivesNothing) {
  ExpectValues([](const Bytes& query) { return Datagrams{query}; }, {});
}

TEST_F(HostileReplyTest, AnEmptyDatagramGivesNothing) {
  ExpectValues([](const Bytes& /*query*/) { return Datagrams{{}}; }, {});
}

TEST_F(HostileReplyTest, AnIncompleteHeaderGivesNothing) {
  for (const Bytes& reply : {Bytes{0x12}, Bytes{0x12, 0x34, 0x81, 0x80, 0, 1, 0xFF}}) {
    ExpectValues([&](const Bytes& /*query*/) { return Datagrams{reply}; }, {});
  }
}

TEST_F(HostileReplyTest, HighCountsOfAReplyThatEndsWithItsHeaderOrQuestionGiveNothing) {
  for (const std::size_t size : {std::size_t{12}, std::size_t{kStart}}) {
    ExpectValues(
        [size](Bytes query) {
          std::fill(query.begin() + 4, query.begin() + 12, 0xFF);
          query.resize(size);
          return Datagrams{query};
        },
        {});
  }
}

TEST_F(HostileReplyTest, AReplyOfMoreThan1024BytesIsCutThere) {
  // 29 bytes for the header and the question, 16 for each record: 62 records are whole, and three
  // bytes are left.
  ExpectValuesOfReply(
      [](ReplyBuilder& reply) {
        for (int i = 0; i < 4000; ++i) {
          reply.A("192.0.2.1");
        }
      },
      Texts(62, "192.0.2.1"));
}

TEST_F(HostileReplyTest, ATextThatFillsTheBufferEndsWithIt) {
  // 1024 bytes without header and question (29), the record's fixed part (12), one length byte.
  ExpectValuesOfReply([](ReplyBuilder& reply) { reply.Record(16, Bytes(5000, 'x')); },
                      {std::string(1024 - 29 - 12 - 1, 'x')});
}

TEST_F(HostileReplyTest, TheFirstOfTwoRepliesCounts) {
  ExpectValues(
      [](const Bytes& query) {
        return Datagrams{ReplyBuilder(query).A("192.0.2.1").Build(),
                         ReplyBuilder(query).A("192.0.2.2").Build()};
      },
      {"192.0.2.1"});
}

TEST_F(HostileReplyTest, DatagramsThatArriveTogetherAreReadAsOneReply) {
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

TEST_F(HostileReplyTest, NoReplyCostsFiveSecondsAndADebugLine) {
  const ScriptedNameServer server(Silence);
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
