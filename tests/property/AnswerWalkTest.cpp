// AnswerWalk compared with a writer that knows what is in its replies and, for other bytes, with a
// plain implementation of its rules.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "framework/Utilities/StringUtilities.h"
#include "framework/dns/AnswerWalk.h"
#include "framework/dns/DNSSocket.h"
#include "framework/dns/NameServer.h"
#include "tests/property/NameWriter.h"
#include "tests/property/PlainReply.h"
#include "tests/property/Random.h"
#include "tests/support/Bytes.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScriptedNameServer.h"

using namespace std::string_literals;

namespace {

constexpr std::uint32_t kHeader = 12;
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

std::string ToText(const Bytes& bytes) {
  return {bytes.begin(), bytes.end()};
}

Bytes Cut(Bytes bytes, std::size_t length) {
  bytes.resize(std::min(length, bytes.size()));
  bytes.shrink_to_fit();  // so that a sanitizer notices a read past the end
  return bytes;
}

Bytes QueryForExampleOrg() {
  return ToBytes("\x12\x34\1\0\0\1\0\0\0\0\0\0\7example\3org\0\0\1\0\1\0\0\0\0\0\0\0\0"s);
}

// A well-formed reply. An alias, a text that has a zero byte, and a mail exchanger with a
// preference below 256 put the walk out of step, so such a record comes last.
class KnownReply {
 public:
  explicit KnownReply(Random& random)
      : m_random(random),
        m_names(random, {"example", "org"}, kHeader),
        m_reply(QueryForExampleOrg()) {
    m_reply.resize(kStart);
    for (int left = random.Between(0, 8); left > 0; --left) {
      AppendRecord();
    }
    if (random.OneIn(2)) {
      AppendLastRecord();
    }
    if (random.OneIn(2)) {
      Append(ToBytes("\0\0\x29\x04\xD0\0\0\0\0\0\0"s));  // of EDNS, after the answers
    }
    m_reply[7] = static_cast<unsigned char>(m_answers.size());
  }

  const Bytes& Reply() const { return m_reply; }
  const Answers& Expected() const { return m_answers; }

 private:
  void AppendRecord() {
    switch (m_random.Between(0, 4)) {
      case 0:
        AppendAddress();
        break;
      case 1:
        AppendNameServer();
        break;
      case 2:
        AppendText();
        break;
      case 3:
        AppendMailExchanger();
        break;
      default:
        AppendEmptyRecord();
    }
  }

  void AppendAddress() {
    AppendHead(1, 4);
    std::string text;
    for (int i = 0; i < 4; ++i) {
      const int octet = m_random.Between(0, 255);
      m_reply.push_back(static_cast<unsigned char>(octet));
      text += (i == 0 ? "" : ".") + std::to_string(octet);
    }
    m_answers.emplace_back(1, text);
  }

  void AppendNameServer() {
    AppendHead(2, 0);
    if (m_random.OneIn(10)) {
      m_reply.push_back(0);
      m_answers.emplace_back(2, "");
      return;
    }
    const Labels host = m_names.AnyName();
    Append(m_names.Write(host, Here()));
    m_answers.emplace_back(2, Dotted(host));
  }

  // The value also has the bytes of the next record's owner, up to a zero byte.
  void AppendText() {
    const int strings = m_random.Between(1, 3);
    std::string rdata;
    for (int i = 0; i < strings; ++i) {
      const std::string string = AnyString();
      rdata += static_cast<char>(string.size());
      rdata += string;
    }
    AppendHead(16, rdata.size());
    Append(ToBytes(rdata));
    m_answers.emplace_back(16, rdata.substr(1));
    m_textIsOpen = true;
  }

  std::string AnyString() {
    std::string string(m_random.Between(1U, 100U), '\0');
    for (char& c : string) {
      c = static_cast<char>(m_random.Between(1, 191));
    }
    return string;
  }

  // The walk reads the preference as a label of one character.
  void AppendMailExchanger() {
    AppendHead(15, 0);
    const int low = m_random.Between(1, 191);
    Append({1, static_cast<unsigned char>(low)});
    const Labels host = m_names.AnyName();
    Append(m_names.Write(host, Here()));
    m_answers.emplace_back(15, static_cast<char>(low) + "."s + Dotted(host));
  }

  void AppendEmptyRecord() {
    const unsigned int type = UnknownType();
    AppendHead(type, 0);
    m_answers.emplace_back(type, "");
  }

  unsigned int UnknownType() {
    const unsigned int type = m_random.Between(0U, 255U);
    return type == 1 || type == 2 || type == 15 || type == 16 ? 28 : type;
  }

  void AppendLastRecord() {
    switch (m_random.Between(0, 3)) {
      case 0:
        AppendHead(5, 0);
        Append(m_names.Write(m_names.AnyName(), Here()));
        m_answers.emplace_back(5, "");
        break;
      case 1:
        AppendHead(15, 0);
        Append({0, 10});
        Append(m_names.Write(m_names.AnyName(), Here()));
        m_answers.emplace_back(15, "");
        break;
      case 2: {
        const std::string text = AnyString();
        AppendHead(16, text.size() + 5);
        Append(ToBytes("#" + text + "\0more"s));
        m_answers.emplace_back(16, text);
        break;
      }
      default:
        const unsigned int type = UnknownType();
        const Bytes data = ToBytes(m_random.Bytes(m_random.Between(0U, 20U)));
        AppendHead(type, data.size());
        Append(data);
        m_answers.emplace_back(type, "");
    }
  }

  // Appends the owner, the type, a class and a time to live, and the length of the data.
  void AppendHead(unsigned int type, std::size_t rdLength) {
    const Bytes owner = Owner();
    if (m_textIsOpen) {
      const std::string bytes = ToText(owner);
      m_answers.back().second += bytes.substr(0, bytes.find('\0'));
      m_textIsOpen = false;
    }
    Append(owner);
    Append16(type);
    Append(ToBytes(m_random.Bytes(6)));
    Append16(static_cast<unsigned int>(rdLength));
  }

  // After a text there must be no pointer with a zero byte, which would end the text too early.
  Bytes Owner() {
    switch (m_random.Between(0, 2)) {
      case 0:
        return {0xC0, kHeader};
      case 1:
        return {0};
      default:
        const Labels name = m_names.AnyName();
        return m_textIsOpen ? m_names.WriteInFull(name, Here()) : m_names.Write(name, Here());
    }
  }

  std::uint32_t Here() const { return static_cast<std::uint32_t>(m_reply.size()); }

  void Append(const Bytes& bytes) { m_reply.insert(m_reply.end(), bytes.begin(), bytes.end()); }

  void Append16(unsigned int value) {
    Append({static_cast<unsigned char>(value / 256), static_cast<unsigned char>(value % 256)});
  }

  Random& m_random;
  NameWriter m_names;
  Bytes m_reply;
  Answers m_answers;
  bool m_textIsOpen = false;  // the last record is a text that goes on in the next one
};

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
        reply.TXT({"v=spf1 a -all", "more"});
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

TEST(AnswerWalkTest, AWellFormedReplyGivesItsRecords) {
  Random random;
  for (int i = 0; i < 5000; ++i) {
    const KnownReply known(random);
    ASSERT_EQ(Walk(known.Reply(), kStart), known.Expected())
        << testing::PrintToString(known.Reply());
  }
}

TEST(AnswerWalkTest, AMutatedReplyIsWalkedByTheRules) {
  Random random;
  for (int i = 0; i < 30000; ++i) {
    const Bytes whole =
        random.OneIn(2) ? KnownReply(random).Reply() : AnyReply(random, QueryForExampleOrg());
    const Bytes reply = Cut(Mutate(random, whole), 1024);
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
