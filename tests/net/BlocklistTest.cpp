#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <netinet/in.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "framework/core/Exceptions.h"
#include "framework/net/Socket.h"
#include "tests/net/ScriptedResolver.h"
#include "tests/support/Sanitizers.h"

namespace {

const in_addr_t kUntouched = inet_addr("192.0.2.99");

addrinfo Entry(int family, sockaddr* address, socklen_t length) {
  addrinfo entry{};
  entry.ai_family = family;
  entry.ai_addr = address;
  entry.ai_addrlen = length;
  return entry;
}

// A resolver's list of IPv4 addresses.
class Answer {
 public:
  explicit Answer(const std::vector<std::string>& addresses) : m_addresses(addresses.size()) {
    for (std::size_t i = 0; i < addresses.size(); ++i) {
      m_addresses[i].sin_family = AF_INET;
      m_addresses[i].sin_port = 0xFFFF;
      m_addresses[i].sin_addr.s_addr = inet_addr(addresses[i].c_str());
      m_entries.push_back(
          Entry(AF_INET, reinterpret_cast<sockaddr*>(&m_addresses[i]), sizeof(m_addresses[i])));
    }
    for (std::size_t i = 1; i < m_entries.size(); ++i) {
      m_entries[i - 1].ai_next = &m_entries[i];
    }
  }
  Answer(const Answer&) = delete;
  Answer& operator=(const Answer&) = delete;

  addrinfo* List() { return m_entries.data(); }

 private:
  std::vector<sockaddr_in> m_addresses;
  std::vector<addrinfo> m_entries;
};

// A list of the IPv6 address ::1, followed by 127.0.0.2. The flow label is where an IPv4 address is
// in its own structure.
class AnswerOfBothFamilies {
 public:
  explicit AnswerOfBothFamilies(const char* flow) {
    m_first.sin6_family = AF_INET6;
    m_first.sin6_flowinfo = inet_addr(flow);
    m_first.sin6_addr = in6addr_loopback;
    m_entry.ai_next = m_second.List();
  }
  AnswerOfBothFamilies(const AnswerOfBothFamilies&) = delete;
  AnswerOfBothFamilies& operator=(const AnswerOfBothFamilies&) = delete;

  addrinfo* List() { return &m_entry; }

 private:
  sockaddr_in6 m_first{};
  Answer m_second{{"127.0.0.2"}};
  addrinfo m_entry = Entry(AF_INET6, reinterpret_cast<sockaddr*>(&m_first), sizeof(m_first));
};

// The result of a look-up.
struct Outcome {
  std::uint32_t listed = 99;  // 99: it threw
  std::string answer;
  std::string failure;
};

std::string Text(in_addr_t address) {
  return inet_ntoa(in_addr{.s_addr = address});
}

Outcome Ask(const std::string& key, const std::string& zone) {
  Outcome outcome;
  in_addr_t answer = kUntouched;
  try {
    outcome.listed = Socket::CheckBlocklist(key, zone, answer);
  } catch (const RBLSocketException& failure) {
    outcome.failure = failure.what();
  }
  outcome.answer = Text(answer);
  return outcome;
}

Outcome Ask() {
  return Ask("4.3.2.1", "list.test");
}

// As above, where the resolver answers `addresses`.
Outcome AskAnswered(const std::vector<std::string>& addresses) {
  ScriptedResolver resolver;
  resolver.errorNumber = ECONNREFUSED;
  Answer answer(addresses);
  resolver.list = answer.List();
  return Ask();
}

// As above, where the resolver fails with `code`.
Outcome AskWithFailure(int code) {
  ScriptedResolver resolver;
  resolver.errorNumber = ECONNREFUSED;
  resolver.result = code;
  return Ask();
}

// Returns how a look-up by the system's resolver fails; an answer that is not trusted is never
// released.
std::string AskInVain(const std::string& key, const std::string& zone) {
  const NoLeakCheck noLeakCheck;
  return Ask(key, zone).failure;
}

}  // namespace

TEST(BlocklistTest, AnAnswerInTheLoopbackNetworkIsListedAndReturned) {
  for (const char* const address :
       {"127.0.0.2", "127.0.0.1", "127.255.0.1", "127.1.2.3", "127.0.0.0", "127.255.255.255"}) {
    const Outcome outcome = AskAnswered({address});
    EXPECT_EQ(outcome.listed, 1U) << address;
    EXPECT_EQ(outcome.answer, address);
    EXPECT_EQ(outcome.failure, "");
  }
}

TEST(BlocklistTest, AnAnswerOutsideTheLoopbackNetworkThrowsWithTheAddressAndTheName) {
  for (const std::string address :
       {"10.0.0.1", "126.255.255.255", "128.0.0.1", "1.0.0.127", "0.0.0.1", "255.255.255.255"}) {
    const Outcome outcome = AskAnswered({address});
    EXPECT_EQ(outcome.failure, "invalid response (" + address + "), 4.3.2.1.list.test rbl 0");
    EXPECT_EQ(outcome.answer, address);
  }
}

TEST(BlocklistTest, AnAnswerOfAllZerosThrowsWithoutAnErrorNumber) {
  const Outcome outcome = AskAnswered({"0.0.0.0"});
  EXPECT_EQ(outcome.failure, "response 0, 4.3.2.1.list.test rbl 0");
  EXPECT_EQ(outcome.answer, "0.0.0.0");
}

TEST(BlocklistTest, ANameThatDoesNotExistIsNotListedAndLeavesTheAnswerUnchanged) {
  for (const int code : {EAI_NONAME, EAI_NODATA, -2, -5}) {
    const Outcome outcome = AskWithFailure(code);
    EXPECT_EQ(outcome.listed, 0U) << code;
    EXPECT_EQ(outcome.answer, "192.0.2.99");
    EXPECT_EQ(outcome.failure, "");
  }
}

TEST(BlocklistTest, AnyOtherFailureThrowsWithTheCodeAndTextOfTheResolverAndNoErrno) {
  const struct {
    int code;
    const char* text;
  } rows[] = {
      {EAI_AGAIN, "4.3.2.1.list.test rbl -3 Temporary failure in name resolution"},
      {EAI_FAIL, "4.3.2.1.list.test rbl -4 Non-recoverable failure in name resolution"},
      {EAI_MEMORY, "4.3.2.1.list.test rbl -10 Memory allocation failure"},
      {EAI_SYSTEM, "4.3.2.1.list.test rbl -11 System error"},
      {EAI_ADDRFAMILY, "4.3.2.1.list.test rbl -9 Address family for hostname not supported"},
      {77, "4.3.2.1.list.test rbl 77 Unknown error"},
  };
  for (const auto& row : rows) {
    const Outcome outcome = AskWithFailure(row.code);
    EXPECT_EQ(outcome.failure, row.text);
    EXPECT_EQ(outcome.answer, "192.0.2.99");
  }
}

TEST(BlocklistTest, TheFirstEntryCounts) {
  EXPECT_EQ(AskAnswered({"127.0.0.4", "10.0.0.1", "0.0.0.0"}).answer, "127.0.0.4");
  EXPECT_EQ(AskAnswered({"10.0.0.1", "127.0.0.4"}).failure,
            "invalid response (10.0.0.1), 4.3.2.1.list.test rbl 0");
  EXPECT_EQ(AskAnswered({"0.0.0.0", "127.0.0.4"}).failure, "response 0, 4.3.2.1.list.test rbl 0");
}

TEST(BlocklistTest, TheFourBytesAfterFamilyAndPortCountWhateverTheFamily) {
  const struct {
    const char* flow;
    std::uint32_t listed;
    const char* failure;
  } rows[] = {
      {"127.0.0.3", 1, ""},
      {"0.0.0.0", 99, "response 0, 4.3.2.1.list.test rbl 0"},
      {"10.0.0.1", 99, "invalid response (10.0.0.1), 4.3.2.1.list.test rbl 0"},
  };
  for (const auto& row : rows) {
    ScriptedResolver resolver;
    AnswerOfBothFamilies answer(row.flow);
    resolver.list = answer.List();
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.listed, row.listed) << row.flow;
    EXPECT_EQ(outcome.answer, row.flow);
    EXPECT_EQ(outcome.failure, row.failure);
  }
}

TEST(BlocklistTest, TheResolverIsAskedOnceForKeyDotZoneWithoutServiceAndHints) {
  const struct {
    const char* key;
    const char* zone;
    const char* name;
  } rows[] = {
      {"4.3.2.1", "list.test", "4.3.2.1.list.test"},
      {"", "list.test", ".list.test"},
      {"4.3.2.1", "", "4.3.2.1."},
      {"host.", ".test", "host...test"},
  };
  for (const auto& row : rows) {
    ScriptedResolver resolver;
    resolver.result = EAI_NONAME;
    Ask(row.key, row.zone);
    ASSERT_EQ(resolver.questions.size(), 1U);
    EXPECT_EQ(resolver.questions[0].node, std::optional<std::string>(row.name));
    EXPECT_EQ(resolver.questions[0].service, std::nullopt);
    EXPECT_FALSE(resolver.questions[0].hints.has_value());
  }
}

TEST(BlocklistTest, AReversedAddressIsAKey) {
  ScriptedResolver resolver;
  resolver.result = EAI_NONAME;
  Ask(Socket::ReverseAddress(inet_addr("1.2.3.4")), "list.test");
  ASSERT_EQ(resolver.questions.size(), 1U);
  EXPECT_EQ(resolver.questions[0].node, std::optional<std::string>("4.3.2.1.list.test"));
}

TEST(BlocklistTest, TheNameIsNotAFormat) {
  ScriptedResolver resolver;
  resolver.result = EAI_FAIL;
  EXPECT_EQ(Ask("%n%s", "%d").failure, "%n%s.%d rbl -4 Non-recoverable failure in name resolution");
}

TEST(BlocklistTest, TheListIsReleasedOnceOnTheListedPath) {
  ScriptedResolver resolver;
  Answer answer({"127.0.0.2", "127.0.0.3"});
  resolver.list = answer.List();
  Ask();
  EXPECT_EQ(resolver.freed, std::vector<addrinfo*>{answer.List()});
}

TEST(BlocklistTest, TheListIsNotReleasedOnAnyOtherPath) {
  for (const char* const address : {"10.0.0.1", "0.0.0.0"}) {
    ScriptedResolver resolver;
    Answer answer({address, "127.0.0.2"});
    resolver.list = answer.List();
    Ask();
    EXPECT_EQ(resolver.freed, std::vector<addrinfo*>()) << address;
  }
  for (const int code : {EAI_NONAME, EAI_NODATA, EAI_AGAIN, EAI_FAIL}) {
    ScriptedResolver resolver;
    Answer answer({"127.0.0.2"});
    resolver.list = answer.List();
    resolver.result = code;
    Ask();
    EXPECT_EQ(resolver.freed, std::vector<addrinfo*>()) << code;
  }
}

TEST(BlocklistTest, ThreadsMayAskAtOnce) {
  const auto ask = [] {
    for (int i = 0; i < 200; ++i) {
      EXPECT_EQ(AskInVain("10.0.0", "1"), "invalid response (10.0.0.1), 10.0.0.1 rbl 0");
      EXPECT_EQ(Ask("127.0.0", "2").answer, "127.0.0.2");
    }
  };
  std::vector<std::jthread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back(ask);
  }
}

// The system's resolver reads a key and a zone that together make a numeric address.
TEST(BlocklistTest, TheAnswersOfTheSystemResolverAreReadTheSameWay) {
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(Ask("127.0.0", "2").listed, 1U);
    EXPECT_EQ(Ask("127.0.0", "2").answer, "127.0.0.2");
    EXPECT_EQ(AskInVain("10.0.0", "1"), "invalid response (10.0.0.1), 10.0.0.1 rbl 0");
    EXPECT_EQ(AskInVain("0.0.0", "0"), "response 0, 0.0.0.0 rbl 0");
    EXPECT_EQ(AskInVain("::ffff:127.0.0", "2"), "response 0, ::ffff:127.0.0.2 rbl 0");
  }
}
