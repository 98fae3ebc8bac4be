// PolicyDecision: the action for a request.

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include "programs/spf-policyd/ServiceLog.h"
#include "tests/spf_policyd/DecisionTest.h"
#include "tests/spf_policyd/ExampleMail.h"
#include "tests/support/ReplyBuilder.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Script = ScriptedNameServer::Script;

constexpr char kRefusal[] =
    "550 5.7.23 198.51.100.7 may not send mail for example.org: the SPF record of example.org does "
    "not name this address";

const ScriptedNameServer::Zone kManyDomains = {
    {"TXT example.org", {"v=spf1 ip4:192.0.2.0/24 -all"}},
    {"TXT Example.ORG", {"v=spf1 ip4:192.0.2.0/24 -all"}},
    {"TXT EXAMPLE.NET", {"v=spf1 ip4:192.0.2.0/24 ~all"}},
    {"TXT a.example.org", {"v=spf1 ip4:192.0.2.0/24 -all"}},
    {"TXT example.net", {"v=spf1 ip4:192.0.2.0/24 ~all"}},
    {"TXT mx.test", {"v=spf1 mx -all"}},
    {"TXT soft.test", {"v=spf1 ?ip4:198.51.100.0/24 -all"}},
    {"TXT bare.test", {"v=spf1 ip4"}},
    {"TXT client.test", {"v=spf1 ip4:192.0.2.0/24 -all"}},
};

class PolicyDecisionTest : public DecisionTest {
 protected:
  PolicyDecisionTest() {
    Serve([](const Bytes& query) {
      return Datagrams{ScriptedNameServer::AnswerFrom(kManyDomains, query)};
    });
  }

  // Replaces the name server by one that follows `script`.
  void Serve(const Script& script) {
    m_server.reset();
    m_server = std::make_unique<ScriptedNameServer>(script);
  }

  std::size_t Questions() const { return m_server->Queries().size(); }

  // Expects a header as the answer for a mail. Returns it without its beginning.
  std::string HeaderFor(const std::string& address, const std::string& sender) {
    const std::string begin = "PREPEND X-SPF-Check: mail.test; ";
    const std::string answer = Answer(Request(address, sender));
    EXPECT_TRUE(answer.starts_with(begin)) << answer;
    return answer.substr(std::min(begin.size(), answer.size()));
  }

  // Returns the lines that `action` logs, with "0 ms" for each time.
  template <typename Action>
  static std::string LogOf(const Action& action) {
    const std::string log = CaptureLog([&] {
      fwk::Logger::m_LogLevel = 6;
      action();
    });
    return std::regex_replace(log, std::regex(R"(\d+ ms)"), "0 ms");
  }

 private:
  std::unique_ptr<ScriptedNameServer> m_server;
};

// Answers from kManyDomains after `count` other replies.
Script AfterOthers(std::size_t count, const Script& other) {
  return [count, other, asked = std::make_shared<std::size_t>(0)](const Bytes& query) {
    return ++*asked <= count ? other(query)
                             : Datagrams{ScriptedNameServer::AnswerFrom(kManyDomains, query)};
  };
}

Datagrams ServerFailure(const Bytes& query) {
  return {ReplyBuilder(query).SetFlags(0x8182).Build()};
}

Datagrams Truncation(const Bytes& query) {
  return {ReplyBuilder(query).SetFlags(0x8380).Build()};
}

}  // namespace

TEST_F(PolicyDecisionTest, EachMailFromOutsideGetsAHeaderWithTheVerdict) {
  const struct {
    const char* address;
    const char* sender;
    const char* header;
  } rows[] = {
      {kGood, "a@example.org",
       "passed; client=192.0.2.7; domain=example.org; ip4:192.0.2.0/24 of example.org matches"},
      {kBad, "a@example.org",
       "failed; client=198.51.100.7; domain=example.org; no term of example.org matches"},
      {kBad, "a@example.net",
       "failed; client=198.51.100.7; domain=example.net; no term of example.net matches"},
      {kBad, "a@none.test", "none; client=198.51.100.7; domain=none.test; none.test has no record"},
      {kBad, "a@mx.test",
       "no verdict; client=198.51.100.7; domain=mx.test; mx of mx.test is not evaluated"},
      {kBad, "a@soft.test",
       "no verdict; client=198.51.100.7; domain=soft.test; ?ip4:198.51.100.0/24 of soft.test is "
       "not evaluated"},
      {kBad, "a@bare.test",
       "no verdict; client=198.51.100.7; domain=bare.test; malformed record: ip4 of bare.test"},
      {kBad, "a@b@Example.ORG.",
       "failed; client=198.51.100.7; domain=Example.ORG; no term of Example.ORG matches"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(HeaderFor(row.address, row.sender), row.header);
  }
}

TEST_F(PolicyDecisionTest, AMailThatCannotBeCheckedGetsAHeaderToo) {
  EXPECT_EQ(HeaderFor("2001:db8::1", "a@example.org"),
            "no verdict; client=2001:db8::1; domain=example.org; the client has no IPv4 address");
  EXPECT_EQ(HeaderFor("unknown", "a@example.org"),
            "no verdict; client=unknown; domain=example.org; the client has no IPv4 address");
  EXPECT_EQ(HeaderFor(kBad, "a@-x..test"),
            "no verdict; client=198.51.100.7; domain=-; malformed sender");
  EXPECT_EQ(Questions(), 0U);
}

TEST_F(PolicyDecisionTest, ABounceIsCheckedForTheNameInHelo) {
  EXPECT_EQ(
      HeaderFor(kGood, ""),
      "passed; client=192.0.2.7; domain=client.test; ip4:192.0.2.0/24 of client.test matches");
  m_settings = MakeSettings("client.test");
  EXPECT_TRUE(Answer(Request(kBad, "")).starts_with("550 5.7.23 "));
}

TEST_F(PolicyDecisionTest, ForgedMailOfANamedDomainIsRefused) {
  EXPECT_TRUE(Answer(Forged()).starts_with("PREPEND "));
  m_settings = MakeSettings("example.net,.example.org");
  EXPECT_EQ(Answer(Forged()), kRefusal);
  EXPECT_EQ(Answer(Request(kBad, "a@a.example.org")),
            "550 5.7.23 198.51.100.7 may not send mail for a.example.org: the SPF record of "
            "a.example.org does not name this address");
  EXPECT_TRUE(Answer(Request(kBad, "a@EXAMPLE.NET")).starts_with("550 5.7.23 "));
  EXPECT_TRUE(Answer(Mail()).starts_with("PREPEND "));
}

TEST_F(PolicyDecisionTest, NoOtherVerdictRefusesMailOfANamedDomain) {
  m_settings = MakeSettings("mx.test,soft.test,bare.test,none.test,example.org");
  for (const char* const domain : {"mx.test", "soft.test", "bare.test", "none.test"}) {
    EXPECT_TRUE(Answer(Request(kBad, std::string("a@") + domain)).starts_with("PREPEND "))
        << domain;
  }
  EXPECT_TRUE(Answer(Request("2001:db8::1", "a@example.org")).starts_with("PREPEND "));
  for (const Script& fault : {Script(ServerFailure), Script(Truncation)}) {
    Serve(fault);
    EXPECT_TRUE(Answer(Forged()).starts_with("PREPEND "));
  }
}

TEST_F(PolicyDecisionTest, OtherRequestsAndSkippedClientsCostNoLookUp) {
  const std::string mail = Forged();
  const std::string rows[] = {
      Request("127.0.0.1", "a@example.org"),
      std::regex_replace(mail, std::regex("RCPT"), "DATA"),
      std::regex_replace(mail, std::regex("RCPT"), "END-OF-MESSAGE"),
      std::regex_replace(mail, std::regex("RCPT"), ""),
      std::regex_replace(mail, std::regex("smtpd_access_policy"), "other"),
      kUnchecked,
  };
  m_settings = MakeSettings("example.org");
  for (const std::string& row : rows) {
    EXPECT_EQ(Answer(row), "DUNNO") << row;
  }
  EXPECT_EQ(Questions(), 0U);
}

TEST_F(PolicyDecisionTest, AMessageHasItsHeaderOnce) {
  const std::string answer = Answer(Mail("first", "1"));
  EXPECT_TRUE(answer.starts_with("PREPEND "));
  EXPECT_EQ(Answer(Mail("second", "1")), "DUNNO");
  EXPECT_EQ(Answer(Mail("third", "1")), "DUNNO");
  EXPECT_EQ(Questions(), 1U);
  EXPECT_EQ(Answer(Mail("first", "1")), answer) << "a repeated request";
  EXPECT_EQ(Questions(), 1U);
}

TEST_F(PolicyDecisionTest, ForgedMailIsRefusedForEachRecipient) {
  m_settings = MakeSettings("example.org");
  for (const char* const recipient : {"first", "second", "third", "first"}) {
    EXPECT_EQ(Answer(Forged(recipient, "1")), kRefusal);
  }
  EXPECT_EQ(Questions(), 1U);
}

TEST_F(PolicyDecisionTest, OnlyTheSameMessageIsAnsweredFromMemory) {
  m_settings = MakeSettings("example.org");
  EXPECT_TRUE(Answer(Mail("first", "1")).starts_with("PREPEND "));
  EXPECT_EQ(Answer(Forged("second", "1")), kRefusal);
  EXPECT_TRUE(Answer(Request(kGood, "b@example.org", "second", "1")).starts_with("PREPEND "));
  EXPECT_TRUE(Answer(Mail("second", "2")).starts_with("PREPEND "));
  EXPECT_TRUE(Answer(std::regex_replace(Mail("second", "1"), std::regex("helo_name=client"),
                                        "helo_name=other"))
                  .starts_with("PREPEND "));
}

TEST_F(PolicyDecisionTest, AMessageWithoutAUsableNameIsCheckedForEachRecipient) {
  for (const std::string& name : {std::string(), std::string(101, 'x')}) {
    EXPECT_TRUE(Answer(Mail("first", name)).starts_with("PREPEND "));
    EXPECT_TRUE(Answer(Mail("second", name)).starts_with("PREPEND "));
  }
}

TEST_F(PolicyDecisionTest, AnAnswerThatWasNotDeliveredIsForgotten) {
  const std::string request = Mail("first", "1");
  EXPECT_TRUE(Answer(request, false).starts_with("PREPEND "));
  EXPECT_TRUE(Answer(Mail("second", "1")).starts_with("PREPEND "));
  EXPECT_EQ(Answer(request), "DUNNO");
}

TEST_F(PolicyDecisionTest, OnTrialItAnswersDunnoAndLogsWhatItWouldDo) {
  m_settings = MakeSettings("example.org");
  m_settings.isTrial = true;
  EXPECT_EQ(LogOf([&] {
              EXPECT_EQ(Answer(Forged("first", "1")), "DUNNO");
              EXPECT_EQ(Answer(Mail("first", "2")), "DUNNO");
            }),
            "Warning: trial REFUSE, failed, client=198.51.100.7, domain=example.org, 0 ms, "
            "1 look-ups, no term of example.org matches\n"
            "Info: trial PREPEND, passed, client=192.0.2.7, domain=example.org, 0 ms, 1 look-ups, "
            "ip4:192.0.2.0/24 of example.org matches\n");
  m_settings.isTrial = false;
  EXPECT_TRUE(Answer(Mail("second", "2")).starts_with("PREPEND "))
      << "the message has no header yet";
}

TEST_F(PolicyDecisionTest, ADomainThatIsNoLongerNamedIsNotRefusedFromMemory) {
  m_settings = MakeSettings("example.org");
  EXPECT_EQ(Answer(Forged("first", "1")), kRefusal);
  m_settings = MakeSettings();
  EXPECT_TRUE(Answer(Forged("second", "1")).starts_with("PREPEND "));
}

TEST_F(PolicyDecisionTest, TheCheckOfANamedDomainIsRepeatedIfAnAnswerIsMissing) {
  m_settings = MakeSettings("example.org");
  m_settings.timeLimit = 3200ms;
  for (const Script& fault : {Script(ServerFailure), Script(Truncation), Script(Silence)}) {
    Serve(AfterOthers(2, fault));
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(Answer(Forged()), kRefusal);
    EXPECT_EQ(Questions(), 3U);
    EXPECT_LT(Clock::now() - start, 2s);
  }
}

TEST_F(PolicyDecisionTest, TheCheckOfAnotherDomainIsNotRepeated) {
  Serve(AfterOthers(1, ServerFailure));
  EXPECT_EQ(HeaderFor(kBad, "a@example.org"),
            "no verdict; client=198.51.100.7; domain=example.org; error code 2 for TXT "
            "example.org");
  EXPECT_EQ(Questions(), 1U);
}

TEST_F(PolicyDecisionTest, ACheckIsRepeatedAFewTimesOnlyAndEndsInTime) {
  m_settings = MakeSettings("example.org");
  Serve(ServerFailure);
  EXPECT_TRUE(Answer(Forged()).starts_with("PREPEND "));
  EXPECT_EQ(Questions(), static_cast<std::size_t>(PolicyDecision::kMostTries));
  Serve(Silence);
  m_settings.timeLimit = 1s;
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(HeaderFor(kBad, "a@example.org"),
            "no verdict; client=198.51.100.7; domain=example.org; time limit reached");
  const auto elapsed = Clock::now() - start;
  EXPECT_GE(elapsed, 1s);
  EXPECT_LT(elapsed, 3s);
  EXPECT_LE(Questions(), static_cast<std::size_t>(PolicyDecision::kMostTries));
}

TEST_F(PolicyDecisionTest, ACheckWithAVerdictIsNotRepeated) {
  m_settings = MakeSettings("example.org,mx.test");
  Answer(Forged());
  Answer(Mail());
  Answer(Request(kBad, "a@mx.test"));
  EXPECT_EQ(Questions(), 3U);
}

TEST_F(PolicyDecisionTest, AHostileRecordCostsNoMoreLookUpsThanAllowed) {
  std::atomic<int> record{0};
  Serve([&record](const Bytes& query) {
    std::string text = "v=spf1";
    for (int i = 0; i < 10; ++i) {
      text += " include:" + std::to_string(++record) + ".test";
    }
    return Datagrams{ReplyBuilder(query).TXT({text}).Build()};
  });
  m_settings = MakeSettings("example.org");
  m_settings.lookUps = 15;
  EXPECT_EQ(HeaderFor(kBad, "a@example.org"),
            "no verdict; client=198.51.100.7; domain=example.org; more look-ups than allowed");
  EXPECT_EQ(Questions(), 15U);
}

TEST_F(PolicyDecisionTest, AMailWithoutAPlaceIsNotChecked) {
  m_settings = MakeSettings("example.net");
  std::vector<std::optional<Places::Place>> held;
  for (int i = 0; i < 60; ++i) {
    held.push_back(m_places.Take("192.0.2.1", "example.org", true));
  }
  EXPECT_EQ(HeaderFor(kBad, "a@example.org"),
            "no verdict; client=198.51.100.7; domain=example.org; too busy to check");
  EXPECT_TRUE(HeaderFor("192.0.2.1", "a@none.test").ends_with("too busy to check"));
  EXPECT_TRUE(HeaderFor(kBad, "a@none.test").starts_with("none; "));
  EXPECT_TRUE(Answer(Request("192.0.2.1", "a@example.net")).starts_with("PREPEND "));
  EXPECT_EQ(Answer(Request(kBad, "a@example.net")).substr(0, 11), "550 5.7.23 ");
  EXPECT_EQ(m_places.GetTaken(), 60U) << "places are given back";
}

TEST_F(PolicyDecisionTest, ACheckEndsWhenNobodyWaitsForIt) {
  std::array<int, 2> sockets{};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets.data()), 0);
  close(sockets[0]);
  m_connection = sockets[1];
  m_settings = MakeSettings("example.org");
  Serve(Silence);
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(LogOf([&] { Answer(Forged(), false); }),
            "Info: PREPEND, no verdict, client=198.51.100.7, domain=example.org, 0 ms, 1 look-ups, "
            "nobody waits for the verdict, not delivered\n");
  EXPECT_LT(Clock::now() - start, 4s);
  close(sockets[1]);
}

TEST_F(PolicyDecisionTest, EachDecisionIsOneLineOfTheLog) {
  m_settings = MakeSettings("example.org");
  EXPECT_EQ(LogOf([&] {
              Answer(Forged("first", "1"));
              Answer(Forged("second", "1"));
              Answer(Mail("first", "2"));
              Answer(Mail("second", "2"));
              Answer(Request("2001:db8::1", "a@example.org"));
              Answer(Request("127.0.0.1", "a@example.org"));
              Answer(kUnchecked);
            }),
            "Warning: REFUSE, failed, client=198.51.100.7, domain=example.org, 0 ms, 1 look-ups, "
            "no term of example.org matches\n"
            "Warning: REFUSE, not checked, client=198.51.100.7, domain=example.org, 0 ms, "
            "0 look-ups, as answered before for the message\n"
            "Info: PREPEND, passed, client=192.0.2.7, domain=example.org, 0 ms, 1 look-ups, "
            "ip4:192.0.2.0/24 of example.org matches\n"
            "Info: DUNNO, not checked, client=192.0.2.7, domain=example.org, 0 ms, 0 look-ups, "
            "as answered before for the message\n"
            "Info: PREPEND, not checked, client=2001:db8::1, domain=example.org, 0 ms, 0 look-ups, "
            "the client has no IPv4 address\n"
            "Info: DUNNO, not checked, client=127.0.0.1, domain=example.org, 0 ms, 0 look-ups, "
            "skipped network\n"
            "Info: DUNNO, not checked, client=, domain=-, 0 ms, 0 look-ups, another protocol "
            "state\n");
}

TEST_F(PolicyDecisionTest, TextsOfStrangersAddNoLinesToAnswerAndLog) {
  Serve([](const Bytes& query) {
    return Datagrams{ReplyBuilder(query)
                         .TXT({"v=spf1 \nX-Forged:1\r\naction=OK\x1b " + std::string(200, '\x7f')})
                         .Build()};
  });
  const std::string log = LogOf([&] {
    for (const char* const sender : {"a@example.org", "a@x\r\naction=OK", "\n@\x85.test"}) {
      std::string text = Request(kBad, "SENDER");
      text.replace(text.find("SENDER"), 6, std::regex_replace(sender, std::regex("\n"), "\r"));
      const std::string answer = Answer(text);
      EXPECT_TRUE(answer.starts_with("PREPEND X-SPF-Check: mail.test; no verdict; ")) << answer;
      EXPECT_TRUE(std::ranges::all_of(answer, [](char c) { return c >= ' ' && c <= '~'; }));
    }
  });
  EXPECT_EQ(std::ranges::count(log, '\n'), 3);
}

TEST_F(PolicyDecisionTest, AHeaderIsAtMost998CharactersLong) {
  const std::string label = "." + std::string(61, 'd');
  m_settings.host = "h" + label + label + label + label;
  const std::string domain = "x" + label + label + label + label;
  const std::string term = "exists:" + std::string(100, 'y');
  Serve([term](const Bytes& query) {
    return Datagrams{ReplyBuilder(query).TXT({"v=spf1 " + term}).Build()};
  });
  const std::string answer = Answer(Request(kBad, "a@" + domain));
  EXPECT_NE(answer.find("domain=" + domain), std::string::npos);
  EXPECT_NE(answer.find("exists:yyy"), std::string::npos);
  EXPECT_LE(answer.size() - std::string("PREPEND ").size(), 998U);
}
