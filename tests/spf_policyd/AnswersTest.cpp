// Random requests, about random records, of domains that the administrator did not name: nothing is
// refused, and an answer is one line of a known form.

#include <gtest/gtest.h>

#include <chrono>
#include <regex>
#include <string>
#include <vector>

#include "tests/property/Random.h"
#include "tests/spf_policyd/PolicyClient.h"
#include "tests/spf_policyd/ServerTest.h"
#include "tests/support/RandomPolicies.h"

namespace {

using namespace std::chrono_literals;

std::string AnyAddress(Random& random) {
  const int host = random.Between(0, 255);
  return (random.OneIn(2) ? "192.0.2." : "198.51.100.") + std::to_string(host);
}

// Returns a domain that is not named, although some are similar.
std::string AnyDomain(Random& random) {
  static const std::vector<std::string> kSimilar = {"a.named.test.x", "xnamed.test", "test"};
  return random.OneIn(5) ? random.OneOf(kSimilar)
                         : NameOfPolicy(random.Between(std::uint32_t{0}, kPolicies - 1));
}

std::string AnySender(Random& random) {
  if (random.OneIn(10)) {
    return "";
  }
  const std::string local = random.Text("a@<>. \r\x85\";=%", 8);
  return local + "@" + AnyDomain(random) + random.Text(".>\r", 1);
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

  Random m_random;

 private:
  ScriptedNameServer m_names{AnswerAtRandom};
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
    const std::string request = AnyRequest(m_random);
    const std::string action = client.Ask(request);
    ASSERT_EQ(FaultOf(action), "") << request;
  }
}

TEST_F(AnswersTest, AnyTextIsAnsweredOrClosesTheConnection) {
  for (int i = 0; i < 500; ++i) {
    PolicyClient client;
    const std::string text = AnyText(m_random);
    client.Write(text);
    std::string action = client.ReadAction();
    for (; action != "closed"; action = client.ReadAction()) {
      ASSERT_EQ(FaultOf(action), "") << text;
    }
  }
  EXPECT_EQ(PolicyClient().Ask("name=value\n\n"), "DUNNO");
}
