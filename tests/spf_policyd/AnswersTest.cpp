// Random requests, about random records, of domains that the administrator did not name: nothing is
// refused, and an answer is one line of a known form.

#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <regex>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/property/Random.h"
#include "tests/spf_policyd/PolicyClient.h"
#include "tests/spf_policyd/ServerTest.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScriptedNameServer.h"

namespace {

using namespace std::chrono_literals;

const std::vector<std::string> kDomains = {"a.test",         "b.test",      "c.test", "d.test",
                                           "a.named.test.x", "xnamed.test", "test"};

// "%" stands for a domain.
const std::vector<std::string> kTerms = {"a",
                                         "a:%",
                                         "+a:%/28",
                                         "-a",
                                         "~a:%",
                                         "A",
                                         "mx",
                                         "?mx",
                                         "ptr",
                                         "exists:%{i}",
                                         "all",
                                         "+all",
                                         "-all",
                                         "~all",
                                         "?all",
                                         "include:%",
                                         "-include:%",
                                         "include",
                                         "redirect=%",
                                         "redirect",
                                         "ip4:192.0.2.0/24",
                                         "ip4",
                                         "ip4:192.0.2.",
                                         "ip4:1.2/x",
                                         "?ip4:198.51.100.0/24",
                                         "ip6:2001:db8::/32",
                                         "exp=%",
                                         "x=%",
                                         "550",
                                         "\n550 5.7.23",
                                         "\r\n\r\naction=550",
                                         "%%",
                                         "v=spf1"};

// Returns a record, well-formed or not.
std::string AnyRecord(Random& random) {
  std::string record = random.OneIn(10) ? "v=spf2" : "v=spf1";
  const int terms = random.Between(0, 6);
  for (int i = 0; i < terms; ++i) {
    std::string term = random.OneOf(kTerms);
    for (std::size_t at = 0; (at = term.find('%', at)) != std::string::npos; ++at) {
      if (at + 1 == term.size() || term[at + 1] != '{') {
        term.replace(at, 1, random.OneOf(kDomains));
      }
    }
    record += " " + term;
  }
  if (random.OneIn(20)) {
    record += random.Bytes(random.Between(std::size_t{0}, std::size_t{30}));
  }
  return record.substr(0, 255);
}

std::string AnyAddress(Random& random) {
  const int host = random.Between(0, 255);
  return (random.OneIn(2) ? "192.0.2." : "198.51.100.") + std::to_string(host);
}

// Returns a reply, well-formed or not.
Datagrams AnyReply(Random& random, const Bytes& query) {
  ReplyBuilder reply(query);
  const int records = random.Between(0, 3);
  for (int i = 0; i < records; ++i) {
    if (random.OneIn(3)) {
      reply.A(AnyAddress(random));
    } else if (random.OneIn(10)) {
      reply.CNAME(random.OneOf(kDomains));
    } else {
      reply.TXT({AnyRecord(random)});
    }
  }
  if (random.OneIn(6)) {
    reply.SetFlags(random.Between(std::uint16_t{0}, std::uint16_t{0xFFFF}));
  }
  if (random.OneIn(10)) {
    reply.SetAnswerCount(random.Between(std::uint16_t{0}, std::uint16_t{9}));
  }
  Bytes bytes = reply.Build();
  if (random.OneIn(6)) {
    bytes.resize(random.Between(std::size_t{0}, bytes.size()));
  }
  for (unsigned char& byte : bytes) {
    if (random.OneIn(300)) {
      byte = static_cast<unsigned char>(random.Byte());
    }
  }
  return random.OneIn(400) ? Datagrams() : Datagrams{bytes};
}

std::string AnySender(Random& random) {
  if (random.OneIn(10)) {
    return "";
  }
  const std::string local = random.Text("a@<>. \r\x85\";=%", 8);
  return local + "@" + random.OneOf(kDomains) + random.Text(".>\r", 1);
}

// Returns a well-formed request with random texts of strangers.
std::string AnyRequest(Random& random) {
  const std::string address =
      random.OneIn(10) ? random.Text("0123456789.:abx", 40) : AnyAddress(random);
  const std::string sender = AnySender(random);
  const std::string recipient = random.Text("ab", 1);
  const std::string instance = random.Text("12", 2);
  std::string text = Request(address, sender, recipient, instance);
  if (random.OneIn(10)) {
    text.insert(0, random.Text("abc\t\r\x85 ", 50) + "=" + random.Text("abc=\r ", 50) + "\n");
  }
  return text;
}

// Returns `action` if it is not one that anybody may get; otherwise nothing.
std::string FaultOf(const std::string& action) {
  static const std::regex header(
      "PREPEND X-SPF-Check: mail\\.test; (passed|failed|none|no verdict); client=[ -~]{0,45}; "
      "domain=(-|[A-Za-z0-9._-]{1,253}); [ -~]{1,400}");
  return action == "DUNNO" || std::regex_match(action, header) ? "" : action;
}

// A service whose name server replies at random.
class AnswersTest : public ServerTest {
 protected:
  AnswersTest() {
    Settings settings = MakeSettings("named.test");
    settings.timeLimit = 200ms;
    Start(100, settings);
  }
  ~AnswersTest() override { Stop(); }  // before its name server

  // Returns what `how` draws; one thread at a time.
  template <typename How>
  std::invoke_result_t<How, Random&> Draw(const How& how) {
    const std::lock_guard guard(m_lock);
    return how(m_random);
  }

 private:
  std::mutex m_lock;
  Random m_random;
  ScriptedNameServer m_names{[this](const Bytes& query) {
    return Draw([&](Random& random) { return AnyReply(random, query); });
  }};
};

// Returns parts of requests and other text, with a malformed end.
std::string AnyText(Random& random) {
  std::string text;
  const int pieces = random.Between(1, 5);
  for (int piece = 0; piece < pieces; ++piece) {
    text += random.OneIn(2) ? AnyRequest(random) : random.Text("a=\n\r\xff", 30);
  }
  text.resize(random.Between(std::size_t{0}, text.size()));
  return text + "\n\n\n";
}

}  // namespace

TEST_F(AnswersTest, MailOfADomainThatIsNotNamedGetsAtMostAHeader) {
  PolicyClient client;
  for (int i = 0; i < 3000; ++i) {
    const std::string request = Draw(AnyRequest);
    const std::string action = client.Ask(request);
    ASSERT_EQ(FaultOf(action), "") << request;
  }
}

TEST_F(AnswersTest, AnyTextIsAnsweredOrClosesTheConnection) {
  for (int i = 0; i < 500; ++i) {
    PolicyClient client;
    const std::string text = Draw(AnyText);
    client.Write(text);
    std::string action = client.ReadAction();
    for (; action != "closed"; action = client.ReadAction()) {
      ASSERT_EQ(FaultOf(action), "") << text;
    }
  }
  EXPECT_EQ(PolicyClient().Ask("name=value\n\n"), "DUNNO");
}
