#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netdb.h>

#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "framework/core/Exceptions.h"
#include "framework/net/Socket.h"
#include "tests/net/ScriptedResolver.h"
#include "tests/support/FailureText.h"
#include "tests/support/ScarceMemory.h"

namespace {

class ResolvingSocket : public Socket {
 public:
  ResolvingSocket() : Socket(0, 0) {}
  using Socket::m_port;
};

std::vector<unsigned char> BytesOf(const AddressRecord& record) {
  return {record.GetAddress(), record.GetAddress() + record.GetLength()};
}

std::string Host(const AddressRecord& record) {
  sockaddr_in address{};
  std::memcpy(&address, record.GetAddress(), sizeof(address));
  return inet_ntoa(address.sin_addr);
}

int Port(const AddressRecord& record) {
  sockaddr_in address{};
  std::memcpy(&address, record.GetAddress(), sizeof(address));
  return ntohs(address.sin_port);
}

// A list of two entries: an IPv4 address with a name, then an IPv6 address without.
struct TwoEntries {
  TwoEntries() {
    address.sin_family = AF_INET;
    address.sin_port = htons(25);
    address.sin_addr.s_addr = inet_addr("192.0.2.1");
    address6.sin6_family = AF_INET6;
    first.ai_family = AF_INET;
    first.ai_socktype = SOCK_STREAM;
    first.ai_protocol = IPPROTO_TCP;
    first.ai_addr = reinterpret_cast<sockaddr*>(&address);
    first.ai_addrlen = sizeof(address);
    first.ai_canonname = name.data();
    first.ai_next = &second;
    second.ai_family = AF_INET6;
    second.ai_socktype = SOCK_RAW;
    second.ai_protocol = 99;
    second.ai_addr = reinterpret_cast<sockaddr*>(&address6);
    second.ai_addrlen = sizeof(address6);
  }

  std::string name = "mail.host.test";
  sockaddr_in address{};
  sockaddr_in6 address6{};
  addrinfo first{};
  addrinfo second{};
};

// The resolver answers with the two entries.
class ScriptedResolveTest : public testing::Test {
 protected:
  ScriptedResolveTest() { m_resolver.list = &m_entries.first; }
  ~ScriptedResolveTest() noexcept override = default;

  ScriptedResolver m_resolver;
  TwoEntries m_entries;
  ResolvingSocket m_socket;
};

}  // namespace

TEST(ResolveTest, AnEmptyHostWithAServiceGivesOneRecordOfTheLoopbackAddress) {
  ResolvingSocket socket;
  const std::vector<AddressRecord> records = socket.Resolve("", "53", false);
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].GetFamily(), 2);
  EXPECT_EQ(records[0].GetSocketType(), 1);
  EXPECT_EQ(records[0].GetProtocol(), 0);
  EXPECT_EQ(records[0].GetLength(), 16);
  EXPECT_EQ(records[0].GetCanonicalName(), "");
  EXPECT_EQ(Host(records[0]), "127.0.0.1");
  EXPECT_EQ(Port(records[0]), 53);
  EXPECT_EQ(BytesOf(records[0]), (std::vector<unsigned char>{2, 0, 0, 53, 127, 0, 0, 1,  //
                                                             0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(socket.m_port, 53);
}

TEST(ResolveTest, AnEmptyHostToBindToGivesOneRecordOfAllAddresses) {
  ResolvingSocket socket;
  const std::vector<AddressRecord> records = socket.Resolve("", "53", true);
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(BytesOf(records[0]), (std::vector<unsigned char>{2, 0, 0, 53, 0, 0, 0, 0,  //
                                                             0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(socket.m_port, 53);
}

TEST(ResolveTest, ThePortOfAnEmptyHostIsDecimalAndKeepsItsLow16Bits) {
  const struct {
    const char* service;
    int port;
  } rows[] = {{"1", 1},      {"65535", 65535}, {"65536", 0}, {"65589", 53},
              {"-1", 65535}, {" 53", 53},      {"+53", 53},  {"53x", 53},
              {"0x35", 0},   {"010", 10},      {"smtp", 0}};
  for (const auto& row : rows) {
    ResolvingSocket socket;
    const std::vector<AddressRecord> records = socket.Resolve("", row.service, false);
    ASSERT_EQ(records.size(), 1U) << row.service;
    EXPECT_EQ(Port(records[0]), row.port) << row.service;
    EXPECT_EQ(socket.m_port, row.port) << row.service;
  }
}

TEST(ResolveTest, AnEmptyHostWithAServiceNeedsNoResolver) {
  const ScriptedResolver resolver;
  ResolvingSocket socket;
  EXPECT_EQ(socket.Resolve("", "53", false).size(), 1U);
  EXPECT_EQ(resolver.questions.size(), 0U);
}

TEST_F(ScriptedResolveTest, WithoutHostAndServiceTheResolverIsAskedForNoNodeAndAnEmptyService) {
  EXPECT_EQ(m_socket.Resolve("", "", false).size(), 2U);
  ASSERT_EQ(m_resolver.questions.size(), 1U);
  EXPECT_EQ(m_resolver.questions[0].node, std::nullopt);
  EXPECT_EQ(m_resolver.questions[0].service, std::optional<std::string>(""));
}

TEST_F(ScriptedResolveTest, TheResolverIsAskedForStreamSocketsOfAnyFamily) {
  m_socket.Resolve("host.test", "smtp", false);
  m_socket.Resolve("host.test", "smtp", true);
  ASSERT_EQ(m_resolver.questions.size(), 2U);
  for (const ScriptedResolver::Question& question : m_resolver.questions) {
    EXPECT_EQ(question.node, std::optional<std::string>("host.test"));
    EXPECT_EQ(question.service, std::optional<std::string>("smtp"));
    ASSERT_TRUE(question.hints.has_value());
    EXPECT_EQ(question.hints->ai_family, AF_UNSPEC);
    EXPECT_EQ(question.hints->ai_socktype, SOCK_STREAM);
    EXPECT_EQ(question.hints->ai_protocol, 0);
  }
  EXPECT_EQ(m_resolver.questions[0].hints->ai_flags, 0);
  EXPECT_EQ(m_resolver.questions[1].hints->ai_flags, AI_PASSIVE);
}

TEST(ResolveTest, EachEntryGivesARecordInTheOrderOfTheResolver) {
  ScriptedResolver resolver;
  std::optional<TwoEntries> entries(std::in_place);
  resolver.list = &entries->first;
  ResolvingSocket socket;
  const std::vector<AddressRecord> records = socket.Resolve("host.test", "smtp", false);
  entries.reset();  // the records own what they hold

  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0].GetFamily(), AF_INET);
  EXPECT_EQ(records[0].GetSocketType(), SOCK_STREAM);
  EXPECT_EQ(records[0].GetProtocol(), IPPROTO_TCP);
  EXPECT_EQ(records[0].GetLength(), 16);
  EXPECT_EQ(Host(records[0]), "192.0.2.1");
  EXPECT_EQ(Port(records[0]), 25);
  EXPECT_EQ(records[0].GetCanonicalName(), "mail.host.test");

  EXPECT_EQ(records[1].GetFamily(), AF_INET6);
  EXPECT_EQ(records[1].GetSocketType(), SOCK_RAW);
  EXPECT_EQ(records[1].GetProtocol(), 99);
  EXPECT_EQ(records[1].GetLength(), 28);
  EXPECT_EQ(records[1].GetCanonicalName(), "");
}

TEST_F(ScriptedResolveTest, TheListIsFreedOnce) {
  m_socket.Resolve("host.test", "smtp", false);
  EXPECT_EQ(m_resolver.freed, std::vector<addrinfo*>{&m_entries.first});
}

TEST_F(ScriptedResolveTest, TheListIsFreedWhenCopyingThrowsToo) {
  std::string longName(100000, 'x');
  m_entries.second.ai_canonname = longName.data();
  const ScarceMemory scarce(longName.size(), std::numeric_limits<std::size_t>::max());
  EXPECT_THROW(m_socket.Resolve("host.test", "smtp", false), std::bad_alloc);
  EXPECT_EQ(m_resolver.freed, std::vector<addrinfo*>{&m_entries.first});
}

TEST_F(ScriptedResolveTest, AskingTheResolverSetsThePortToZero) {
  m_socket.m_port = 99;
  m_socket.Resolve("host.test", "53", false);
  EXPECT_EQ(m_socket.m_port, 0);

  m_resolver.result = EAI_NONAME;
  m_socket.m_port = 99;
  EXPECT_THROW(m_socket.Resolve("host.test", "53", false), SocketException);
  EXPECT_EQ(m_socket.m_port, 0);
}

TEST(ResolveTest, AFailureHasTheResolversTextAndTheCurrentErrno) {
  const struct {
    int result;
    int errorNumber;
    const char* text;
  } rows[] = {
      {EAI_NONAME, 0, "Socket::Resolve - Name or service not known :: failed with code 0: Success"},
      {EAI_NONAME, 2,
       "Socket::Resolve - Name or service not known :: failed with code 2: No such file or "
       "directory"},
      {EAI_AGAIN, 111,
       "Socket::Resolve - Temporary failure in name resolution :: failed with code 111: Connection "
       "refused"},
      {EAI_SERVICE, 0,
       "Socket::Resolve - Servname not supported for ai_socktype :: failed with code 0: Success"},
  };
  for (const auto& row : rows) {
    ScriptedResolver resolver;
    resolver.result = row.result;
    resolver.errorNumber = row.errorNumber;
    ResolvingSocket socket;
    EXPECT_EQ(FailureText<SocketException>([&] { socket.Resolve("host.test", "smtp", false); }),
              row.text);
    EXPECT_EQ(resolver.questions.size(), 1U);
  }
}

TEST(ResolveTest, AnAnswerWithoutEntriesIsAFailure) {
  ScriptedResolver resolver;
  ResolvingSocket socket;
  EXPECT_EQ(FailureText<SocketException>([&] { socket.Resolve("host.test", "smtp", false); }),
            "Socket::Resolve - Unknown error :: failed with code 0: Success");
}

TEST(ResolveTest, TheSystemResolverReadsNumericAddresses) {
  ResolvingSocket socket;
  const std::vector<AddressRecord> records = socket.Resolve("192.0.2.7", "25", false);
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].GetFamily(), AF_INET);
  EXPECT_EQ(records[0].GetSocketType(), SOCK_STREAM);
  EXPECT_EQ(records[0].GetProtocol(), IPPROTO_TCP);
  EXPECT_EQ(Host(records[0]), "192.0.2.7");
  EXPECT_EQ(Port(records[0]), 25);
  EXPECT_EQ(records[0].GetCanonicalName(), "");

  const std::vector<AddressRecord> records6 = socket.Resolve("::1", "25", false);
  ASSERT_EQ(records6.size(), 1U);
  EXPECT_EQ(records6[0].GetFamily(), AF_INET6);
  EXPECT_EQ(records6[0].GetLength(), 28);
}

TEST(ResolveTest, AFailureOfTheSystemResolverIsThrown) {
  ResolvingSocket socket;
  const std::string text =
      FailureText<SocketException>([&] { socket.Resolve("192.0.2.7", "no-such-service", false); });
  const std::string start = "Socket::Resolve - Servname not supported for ai_socktype :: failed ";
  EXPECT_EQ(text.substr(0, start.size()), start);
}
