// The check with a verdict: against SPFCheck, whatever the records and the replies are, and against
// RFC 7208 put plainly, for records of the mechanisms that the check evaluates.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "framework/dns/MessageCodec.h"
#include "framework/dns/NameServer.h"
#include "tests/property/Random.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScriptedNameServer.h"
#include "tool/SPFCheck.h"
#include "tool/SPFTerm.h"
#include "tool/SenderCheck.h"

namespace {

using Texts = std::vector<std::string>;
using Tool = SenderCheck::ToolVerdict;
using Verdict = SenderCheck::Verdict;

constexpr std::size_t kDomains = 6;
constexpr char kClient[] = "192.0.2.1";

std::string Domain(std::size_t number) {
  return std::string("d").append(std::to_string(number)).append(".test");
}

SenderCheck Check(const std::optional<std::string>& record) {
  return {kClient,
          Domain(0),
          record,
          {.lookUps = 100000,
           .deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1),
           .hangUp = -1},
          nullptr};
}

Tool PlainVerdict(const std::optional<std::string>& record) {
  try {
    const SPFCheck check(kClient, "", Domain(0), 0, record.value_or(""));
    return check.getResult() ? Tool::kPassed : Tool::kFailed;
  } catch (const std::exception&) {
    return Tool::kNone;
  }
}

// Replies by the question of the query, as it is on the wire.
using Replies = std::map<Bytes, Bytes>;

Bytes QuestionOf(const Bytes& query) {
  return {query.begin() + 12, query.begin() + MessageCodec::GetAnswerStart(query)};
}

void SetReply(Replies& replies, const std::string& domain, std::uint16_t type, const Bytes& reply) {
  replies[QuestionOf(MessageCodec::EncodeQuery(domain, type, 0))] = reply;
}

// A name server whose replies may be changed.
class ChangingServer {
 public:
  void Set(const Replies& replies) {
    const std::lock_guard guard(m_mutex);
    m_replies = replies;
  }

  // Returns the queries since the last call.
  std::vector<Bytes> TakeQueries() {
    std::vector<Bytes> queries = m_server.Queries();
    queries.erase(queries.begin(), queries.begin() + static_cast<std::ptrdiff_t>(m_taken));
    m_taken += queries.size();
    return queries;
  }

 private:
  Bytes Find(const Bytes& query) {
    const std::lock_guard guard(m_mutex);
    const auto reply = m_replies.find(QuestionOf(query));
    return reply != m_replies.end() ? reply->second : ReplyBuilder(query).Build();
  }

  std::mutex m_mutex;
  Replies m_replies;  // guarded by m_mutex
  std::size_t m_taken = 0;
  ScriptedNameServer m_server{[this](const Bytes& query) { return Datagrams{Find(query)}; }};
};

std::string AnyTarget(Random& random) {
  return random.OneIn(8) ? random.Text("ad.-%{}/:", 8)
                         : Domain(random.Between(std::size_t{0}, kDomains - 1));
}

std::string AnyRange(Random& random) {
  const Texts ranges = {"192.0.2.1",
                        "192.0.2.9",
                        "192.0.2.0/24",
                        "192.0.2.200/24",
                        "198.51.100.1",
                        "192.0.2.1/32",
                        "0.0.0.0/0",
                        "192.0.2.1/33",
                        "192.0.2.1/2x3",
                        "192.0.2",
                        "",
                        "192.0.2.1/"};
  return random.OneOf(ranges);
}

// Returns a term of any kind, perhaps malformed.
std::string AnyTerm(Random& random) {
  const Texts qualifiers = {"", "", "", "", "+", "-", "~", "?"};
  const std::string qualifier = random.OneOf(qualifiers);
  const Texts rest = {"all", "a",       "mx",  "ptr",   "ip6:::/0", "exp=d1.test",
                      "moo", "ip4",     "A",   "a/24",  "a//64",    "exists:%{i}.d1.test",
                      "",    "include", "x=y", "aspf=", "v=spf1",   "redirect=",
                      "+",   "a/0",     "\tx", "a/x"};
  switch (random.Between(0, 6)) {
    case 0:
    case 1:
      return qualifier + "ip4:" + AnyRange(random);
    case 2:
      return qualifier + "include:" + AnyTarget(random);
    case 3:
      return qualifier + "a:" + AnyTarget(random);
    case 4:
      return "redirect=" + AnyTarget(random);
    case 5:
      return random.Text("aip4nclude:=/+-~?%{}mxvspf1 ", 12);
    default:
      return qualifier + random.OneOf(rest);
  }
}

std::string AnyRecord(Random& random) {
  const Texts versions = {"v=spf1", "v=spf1", "v=spf1", "v=spf1", "V=SPF1", "v=spf10", "x v=spf1"};
  std::string record = random.OneOf(versions);
  for (int left = random.Between(0, 4); left > 0; --left) {
    record += (random.OneIn(8) ? "   " : " ") + AnyTerm(random);
  }
  return record;
}

void AddText(Random& random, ReplyBuilder& reply) {
  const std::string record = AnyRecord(random);
  if (random.OneIn(4)) {
    const auto at = random.Between<std::size_t>(0, record.size());
    reply.TXT({record.substr(0, at), record.substr(at)});
  } else {
    reply.TXT({record});
  }
}

void AddRecord(Random& random, std::uint16_t type, ReplyBuilder& reply) {
  const Texts addresses = {kClient, "192.0.2.9", "192.0.2.200", "0.0.0.0"};
  switch (random.Between(0, 11)) {
    case 0:
      reply.CNAME("d1.test");
      break;
    case 1:
      reply.Record(type, Bytes(random.Between<std::size_t>(0, 5), 'a'));
      break;
    case 2:
      reply.TXT({"text"});
      break;
    default:
      type == MessageCodec::kTypeA ? (void)reply.A(random.OneOf(addresses))
                                   : AddText(random, reply);
  }
}

void Mutate(Random& random, Bytes& reply) {
  for (int left = random.Between(1, 6); left > 0 && !reply.empty(); --left) {
    const auto at = random.Between<std::size_t>(0, reply.size() - 1);
    if (random.OneIn(6)) {
      reply.resize(at);
    } else {
      reply[at] = static_cast<unsigned char>(random.Byte());
    }
  }
}

Bytes AnyReply(Random& random, const std::string& domain, std::uint16_t type) {
  ReplyBuilder reply(MessageCodec::EncodeQuery(domain, type, 7));
  for (int left = random.OneIn(4) ? random.Between(0, 3) : 1; left > 0; --left) {
    AddRecord(random, type, reply);
  }
  if (random.OneIn(6)) {
    reply.SetFlags(random.Between<std::uint16_t>(0, 65535));
  }
  if (random.OneIn(20)) {
    reply.Raw(Bytes(1200, 'a'));
  }
  Bytes bytes = reply.Build();
  if (random.OneIn(6)) {
    Mutate(random, bytes);
  }
  return bytes;
}

Replies AnyReplies(Random& random) {
  Replies replies;
  for (std::size_t i = 0; i < kDomains; ++i) {
    for (const std::uint16_t type : {MessageCodec::kTypeA, MessageCodec::kTypeTXT}) {
      SetReply(replies, Domain(i), type, AnyReply(random, Domain(i), type));
    }
  }
  return replies;
}

// Domains with well-formed answers, and their results by RFC 7208.
class PlainWorld {
 public:
  // `mayQualify`: whether mechanisms other than `all` may have a qualifier.
  PlainWorld(Random& random, bool mayQualify) : m_random(random), m_mayQualify(mayQualify) {
    for (std::size_t i = 0; i < kDomains; ++i) {
      for (int left = random.Between(0, 2); left > 0; --left) {
        m_addresses[i].push_back(random.OneIn(3) ? kClient : "192.0.2.9");
      }
      if (i == 0 || !random.OneIn(6)) {
        m_records[i] = "v=spf1" + AnyTerms(i);
      }
    }
  }

  // Returns '+', '-', '~' or '?', or a blank where there is no record.
  char Result(std::size_t domain) const {
    if (m_records[domain].empty()) {
      return ' ';
    }
    for (const std::string& text : SplitSPFRecord(m_records[domain])) {
      const bool isQualified = std::string("-~?").find(text[0]) != std::string::npos;
      if (Matches(isQualified ? text.substr(1) : text)) {
        return isQualified ? text[0] : '+';
      }
    }
    return '?';
  }

  Replies Answers() const {
    Replies replies;
    for (std::size_t i = 0; i < kDomains; ++i) {
      ReplyBuilder text(MessageCodec::EncodeQuery(Domain(i), MessageCodec::kTypeTXT, 7));
      if (!m_records[i].empty()) {
        text.TXT({m_records[i]});
      }
      SetReply(replies, Domain(i), MessageCodec::kTypeTXT, text.Build());
      ReplyBuilder addresses(MessageCodec::EncodeQuery(Domain(i), MessageCodec::kTypeA, 7));
      for (const std::string& address : m_addresses[i]) {
        addresses.A(address);
      }
      SetReply(replies, Domain(i), MessageCodec::kTypeA, addresses.Build());
    }
    return replies;
  }

  std::string Describe() const { return testing::PrintToString(m_records); }

 private:
  std::string AnyTerms(std::size_t domain) {
    const Texts ranges = {"ip4:192.0.2.9",      "ip4:192.0.2.1",   "ip4:192.0.2.0/28",
                          "ip4:192.0.3.0/24",   "ip4:10.0.0.0/8",  "ip4:192.0.2.2/31",
                          "ip4:203.0.113.0/24", "ip4:128.0.0.0/1", "ip4:192.0.2.8/29"};
    std::string terms;
    for (int left = m_random.Between(0, 3); left > 0; --left) {
      terms += ' ' + Qualifier();
      const auto other = m_random.Between(std::size_t{0}, kDomains - 1);
      if (other > domain && m_random.OneIn(2)) {
        terms += "include:" + Domain(other);
      } else {
        terms += m_random.OneIn(3) ? "a:" + Domain(other) : m_random.OneOf(ranges);
      }
    }
    const Texts ends = {"", " -all", " -all", " ~all", " ?all"};
    return terms + m_random.OneOf(ends);
  }

  std::string Qualifier() {
    const Texts qualifiers = {"-", "~", "?"};
    return m_mayQualify && m_random.OneIn(3) ? m_random.OneOf(qualifiers) : "";
  }

  static std::size_t NumberOf(char digit) { return static_cast<std::size_t>(digit - '0'); }

  bool Matches(const std::string& mechanism) const {
    if (mechanism.starts_with("include:d")) {
      return Result(NumberOf(mechanism[9])) == '+';
    }
    if (mechanism.starts_with("a:d")) {
      const Texts& addresses = m_addresses[NumberOf(mechanism[3])];
      return std::ranges::find(addresses, kClient) != addresses.end();
    }
    // The ranges above that contain the client.
    return mechanism == "all" || mechanism == "ip4:192.0.2.1" || mechanism == "ip4:192.0.2.0/28" ||
           mechanism == "ip4:128.0.0.0/1";
  }

  Random& m_random;
  bool m_mayQualify;
  std::array<std::string, kDomains> m_records;
  std::array<Texts, kDomains> m_addresses;
};

class SenderCheckTest : public testing::Test {
 protected:
  SenderCheckTest() {
    dns_servers = "127.0.0.1";
    DoNotLog();
  }

  Random m_random;
  ChangingServer m_server;
};

}  // namespace

TEST_F(SenderCheckTest, TheVerdictOfTheToolIsThatOfAPlainCheckWithTheSameQueries) {
  for (int i = 0; i < 2000; ++i) {
    m_server.Set(AnyReplies(m_random));
    std::optional<std::string> record;
    if (m_random.OneIn(3)) {
      record = AnyRecord(m_random);
    }
    const SenderCheck check = Check(record);
    const std::vector<Bytes> queries = m_server.TakeQueries();
    ASSERT_EQ(check.GetToolVerdict(), PlainVerdict(record)) << check.GetReason();
    ASSERT_EQ(m_server.TakeQueries(), queries);
    ASSERT_EQ(check.GetLookUps(), queries.size());
  }
}

TEST_F(SenderCheckTest, PassedAndFailedAreResultsOfRFC7208) {
  for (int i = 0; i < 3000; ++i) {
    const PlainWorld world(m_random, true);
    m_server.Set(world.Answers());
    const SenderCheck check = Check(std::nullopt);
    const char result = world.Result(0);
    switch (check.GetVerdict()) {
      case Verdict::kPassed:
        ASSERT_EQ(result, '+') << check.GetReason() << world.Describe();
        break;
      case Verdict::kFailed:
        ASSERT_TRUE(result == '-' || result == '~' || result == '?')
            << check.GetReason() << world.Describe();
        break;
      case Verdict::kNone:
        FAIL() << "there is a record";
      case Verdict::kNoVerdict:
        break;
    }
  }
}

TEST_F(SenderCheckTest, RecordsOfIp4AAndIncludeAlwaysHaveTheResultOfRFC7208) {
  for (int i = 0; i < 3000; ++i) {
    const PlainWorld world(m_random, false);
    m_server.Set(world.Answers());
    const SenderCheck check = Check(std::nullopt);
    ASSERT_STREQ(SenderCheck::NameOf(check.GetVerdict()),
                 world.Result(0) == '+' ? "passed" : "failed")
        << check.GetReason() << world.Describe();
  }
}
