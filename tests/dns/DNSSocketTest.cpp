#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <latch>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "framework/config/Config.h"
#include "framework/core/Exceptions.h"
#include "framework/core/Locks.h"
#include "framework/dns/DNSSocket.h"
#include "framework/dns/NameServer.h"
#include "framework/logging/Logger.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/FailureText.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/OwnMount.h"
#include "tests/support/OwnProcess.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/RealFunction.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScriptedNameServer.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

using Texts = std::vector<std::string>;
using Zone = ScriptedNameServer::Zone;
using LookUp = int (DNSSocket::*)(Texts&);

class DNSSocketTest : public testing::Test {
 protected:
  DNSSocketTest() {
    dns_servers = "127.0.0.1";
    DoNotLog();
  }
};

Texts Get(DNSSocket& dns, LookUp lookUp) {
  Texts values;
  EXPECT_EQ((dns.*lookUp)(values), 0);
  return values;
}

Texts Get(const std::string& domain, LookUp lookUp) {
  DNSSocket dns(domain);
  return Get(dns, lookUp);
}

// Returns how many lines of the file at `path` contain `text`.
int CountLines(const char* path, const char* text) {
  std::ifstream file(path);
  int count = 0;
  for (std::string line; std::getline(file, line);) {
    count += line.find(text) != std::string::npos ? 1 : 0;
  }
  return count;
}

// Returns the query that this process sends for example.org.
Bytes QueryForExampleOrg(unsigned char type) {
  const auto id = static_cast<unsigned int>(getpid()) % 65536;
  Bytes query = {0,   0, 1,   0,   0,   1, 0, 0,    0, 0, 0, 0, 7, 'e', 'x', 'a', 'm', 'p', 'l',
                 'e', 3, 'o', 'r', 'g', 0, 0, type, 0, 1, 0, 0, 0, 0,   0,   0,   0,   0};
  query[0] = static_cast<unsigned char>(id / 256);
  query[1] = static_cast<unsigned char>(id % 256);
  return query;
}

// The id that this process seems to have, unless it is 0.
std::atomic<pid_t> scriptedProcessId{0};

// A DNSSocket whose transfers are replaced.
class TransferSocket : public DNSSocket {
 public:
  TransferSocket() : DNSSocket("example.org") {}

  int Send(const char* buffer, unsigned int length, unsigned int& moved, int timeoutMs) override {
    ++m_sends;
    m_query.assign(buffer, buffer + length);
    m_sendTimeout = timeoutMs;
    moved = length;
    return m_sendResult;
  }

  int Receive(char* buffer, unsigned int length, unsigned int& moved, int timeoutMs,
              bool fill) override {
    ++m_receives;
    m_bufferLength = length;
    m_bufferWasZero = std::all_of(buffer, buffer + length, [](char c) { return c == 0; });
    m_receiveTimeout = timeoutMs;
    m_fill = fill;
    std::copy(m_reply.begin(), m_reply.end(), buffer);
    moved = 0;
    return m_onReceive();
  }

  int GetTimeoutField() const { return m_timeout; }
  int GetDescriptor() const { return m_descriptor; }
  int GetNonBlocking() const { return m_nonBlocking; }

  int m_sendResult = 37;
  Bytes m_reply;
  std::function<int()> m_onReceive = [this] { return static_cast<int>(m_reply.size()); };

  int m_sends = 0;
  Bytes m_query;
  int m_sendTimeout = 0;
  int m_receives = 0;
  unsigned int m_bufferLength = 0;
  bool m_bufferWasZero = false;
  int m_receiveTimeout = 0;
  bool m_fill = false;
};

}  // namespace

extern "C" pid_t getpid() noexcept {
  static const auto real = RealFunction(&getpid, "getpid");
  return scriptedProcessId != 0 ? scriptedProcessId.load() : real();
}

TEST_F(DNSSocketTest, ANewObjectIsAUDPSocketWithoutADescriptorAndWithATimeoutOf30Seconds) {
  EXPECT_TRUE((std::is_base_of_v<UDPSocket, DNSSocket>));
  EXPECT_TRUE(std::has_virtual_destructor_v<DNSSocket>);
  EXPECT_FALSE(std::is_nothrow_destructible_v<DNSSocket>);
  const TransferSocket dns;
  EXPECT_EQ(dns.GetDescriptor(), 0);
  EXPECT_EQ(dns.GetTimeoutField(), 30000);
}

TEST_F(DNSSocketTest, MakingAnObjectAsksNothing) {
  const ScriptedNameServer server(Zone{});
  { const DNSSocket dns("example.org"); }
  EXPECT_EQ(Get("example.net", &DNSSocket::GetARecords), Texts{});
  EXPECT_EQ(server.Questions(), (Texts{"A example.net"}));
}

TEST_F(DNSSocketTest, AStaticObjectLooksUpInAProgramThatIncludesOnlyItsHeader) {
  const OwnMount logs("/var/log");
  SetResolverFile("nameserver 127.0.0.1\n");
  const ScriptedNameServer server(Zone{{"A example.org", {"192.0.2.1"}}});
  const ChildResult result = RunChild(STATIC_DNS_SOCKET_PROGRAM, {"static_dns_socket"}, "/");
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(server.Questions(), (Texts{"A example.org", "A example.org"}));
  EXPECT_EQ(CountLines("/var/log/current.log", "Error: DNSSocket::DoQuery - "), 2);
}

TEST_F(DNSSocketTest, EachLookUpSendsOneQueryOfItsType) {
  const ScriptedNameServer server(Zone{});
  DNSSocket dns("example.org");
  Get(dns, &DNSSocket::GetARecords);
  Get(dns, &DNSSocket::GetNSRecords);
  Get(dns, &DNSSocket::GetTXTRecords);
  EXPECT_EQ(server.Queries(),
            (Datagrams{QueryForExampleOrg(1), QueryForExampleOrg(2), QueryForExampleOrg(16)}));
}

TEST_F(DNSSocketTest, TheIdIsTheLow16BitsOfTheProcessIdHighByteFirst) {
  const ScriptedNameServer server(Zone{});
  scriptedProcessId = 0x12345;
  Get("example.org", &DNSSocket::GetARecords);
  scriptedProcessId = 0;
  const Bytes query = server.Queries().at(0);
  EXPECT_EQ(query[0], 0x23);
  EXPECT_EQ(query[1], 0x45);
}

TEST_F(DNSSocketTest, TheDomainIsCleanedBeforeItIsAskedFor) {
  const ScriptedNameServer server(Zone{});
  Get("exa\x07mple.\xFForg", &DNSSocket::GetARecords);
  Get("MaIl.Example.ORG", &DNSSocket::GetARecords);
  Get("example.org.", &DNSSocket::GetARecords);
  Get("", &DNSSocket::GetARecords);
  EXPECT_EQ(server.Questions(),
            (Texts{"A example.org", "A MaIl.Example.ORG", "A example.org", "A "}));
}

TEST_F(DNSSocketTest, ANameThatDoesNotFitIsNotSent) {
  const ScriptedNameServer server(Zone{});
  DNSSocket dns(std::string(1100, 'a'));
  Texts values = {"old"};
  EXPECT_EQ(CaptureLog([&] { EXPECT_EQ(dns.GetARecords(values), 0); }),
            "Error: DNSSocket::DoQuery - StdException - "
            "MessageCodec::EncodeQuery - domain name too long\n");
  EXPECT_EQ(values, Texts{});
  EXPECT_EQ(server.Queries(), Datagrams{});
}

TEST_F(DNSSocketTest, TheQueryIsSentAndTheReplyReceivedWithinFiveSecondsEach) {
  TransferSocket dns;
  dns.m_reply = ReplyBuilder(QueryForExampleOrg(1)).A("192.0.2.1").Build();
  EXPECT_EQ(Get(dns, &DNSSocket::GetARecords), (Texts{"192.0.2.1"}));
  EXPECT_EQ(dns.m_query, QueryForExampleOrg(1));
  EXPECT_EQ(dns.m_sendTimeout, 5000);
  EXPECT_EQ(dns.m_bufferLength, 1024U);
  EXPECT_TRUE(dns.m_bufferWasZero);
  EXPECT_EQ(dns.m_receiveTimeout, 5000);
  EXPECT_TRUE(dns.m_fill);
  EXPECT_EQ(dns.GetNonBlocking(), 1);
}

TEST_F(DNSSocketTest, AQueryThatIsNotSentIsNotWaitedFor) {
  for (const int result : {0, -1}) {
    TransferSocket dns;
    dns.m_sendResult = result;
    Texts values = {"old"};
    EXPECT_EQ(CaptureLog([&] { EXPECT_EQ(dns.GetARecords(values), 0); }), "");
    EXPECT_EQ(values, Texts{});
    EXPECT_EQ(dns.m_receives, 0);
  }
}

TEST_F(DNSSocketTest, ANegativeResultOfReceivingGivesNothing) {
  TransferSocket dns;
  dns.m_reply = ReplyBuilder(QueryForExampleOrg(1)).A("192.0.2.1").Build();
  dns.m_onReceive = [] { return -1; };
  Texts values = {"old"};
  EXPECT_EQ(CaptureLog([&] { EXPECT_EQ(dns.GetARecords(values), 0); }), "");
  EXPECT_EQ(values, Texts{});
  EXPECT_EQ(dns.m_receives, 1);
}

TEST_F(DNSSocketTest, TheReplyHasTheLengthThatReceiveReturns) {
  TransferSocket dns;
  dns.m_reply = ReplyBuilder(QueryForExampleOrg(1)).A("192.0.2.1").A("192.0.2.2").Build();
  dns.m_onReceive = [] { return 29 + 16 + 15; };  // without the last byte
  EXPECT_EQ(Get(dns, &DNSSocket::GetARecords), (Texts{"192.0.2.1", "192.0.2.0"}));
  dns.m_onReceive = [] { return 29 + 16; };
  EXPECT_EQ(Get(dns, &DNSSocket::GetARecords), (Texts{"192.0.2.1"}));
  dns.m_onReceive = [] { return 0; };
  EXPECT_EQ(Get(dns, &DNSSocket::GetARecords), Texts{});
}

TEST_F(DNSSocketTest, AddressesKeepTheOrderOfTheReplyAndDuplicates) {
  const Texts addresses = {"192.0.2.2", "192.0.2.1", "192.0.2.2"};
  const ScriptedNameServer server(Zone{{"A example.org", addresses}});
  EXPECT_EQ(Get("example.org", &DNSSocket::GetARecords), addresses);
}

TEST_F(DNSSocketTest, NameServersAreHostNames) {
  const ScriptedNameServer server(Zone{{"NS example.org", {"ns2.example.net", "ns1.example.net"}}});
  EXPECT_EQ(Get("example.org", &DNSSocket::GetNSRecords),
            (Texts{"ns2.example.net", "ns1.example.net"}));
}

TEST_F(DNSSocketTest, TextsDoNotIncludeTheNextRecord) {
  const ScriptedNameServer server(Zone{{"TXT example.org", {"one", "v=spf1 -all", "three"}}});
  EXPECT_EQ(Get("example.org", &DNSSocket::GetTXTRecords), (Texts{"one", "v=spf1 -all", "three"}));
}

TEST_F(DNSSocketTest, ValuesAreCleaned) {
  const std::string digits = "0123456789012345678901234567890123";
  const ScriptedNameServer server([&](const Bytes& query) {
    return Datagrams{ReplyBuilder(query)
                         .NS("n\x01s\xBF.test")
                         .TXT({"a\x02\tb\xC3\xA9\xFF", "c", digits})
                         .Build()};
  });
  // Of the inner length bytes, 1 is dropped and 34, a quotation mark, is printable.
  EXPECT_EQ(Get("example.org", &DNSSocket::GetTXTRecords), (Texts{"ns.test",
                                                                  "a\tb\xC3\xA9"
                                                                  "c\"" +
                                                                      digits}));
}

TEST_F(DNSSocketTest, TheValuesOfRecordsOfEveryTypeCountUnlessTheyAreEmpty) {
  const ScriptedNameServer server([](const Bytes& query) {
    return Datagrams{ReplyBuilder(query)
                         .A("192.0.2.1")
                         .NS("ns.test")
                         .NS("")
                         .Record(99, {})
                         .TXT({"text"})
                         .MX(300, "mail.test")
                         .MX(10, "mail.test")
                         .Build()};
  });
  EXPECT_EQ(Get("example.org", &DNSSocket::GetNSRecords),
            (Texts{"192.0.2.1", "ns.test", "text", ",.mail.test"}));
}

TEST_F(DNSSocketTest, AnAliasIsNotFollowed) {
  const ScriptedNameServer server([](const Bytes& query) {
    return Datagrams{ReplyBuilder(query).CNAME("host.example.org").A("192.0.2.1").Build()};
  });
  EXPECT_EQ(Get("example.org", &DNSSocket::GetARecords), Texts{});
  EXPECT_EQ(server.Questions(), (Texts{"A example.org"}));
}

TEST_F(DNSSocketTest, AValueThatCleansToNothingIsStillAppended) {
  const ScriptedNameServer server(
      [](const Bytes& query) { return Datagrams{ReplyBuilder(query).TXT({"\x01\x02"}).Build()}; });
  EXPECT_EQ(Get("example.org", &DNSSocket::GetTXTRecords), (Texts{""}));
}

TEST_F(DNSSocketTest, ALookUpEmptiesTheListFirst) {
  const ScriptedNameServer server(Zone{{"A example.org", {"192.0.2.1"}}});
  DNSSocket dns("example.org");
  Texts values = {"old", "older"};
  dns.GetARecords(values);
  EXPECT_EQ(values, (Texts{"192.0.2.1"}));
  dns.GetTXTRecords(values);
  EXPECT_EQ(values, Texts{});
}

TEST_F(DNSSocketTest, AnObjectLooksUpInAnyOrderAndNumber) {
  const ScriptedNameServer server(Zone{{"A example.org", {"192.0.2.1"}},
                                       {"NS example.org", {"ns.example.org"}},
                                       {"TXT example.org", {"text"}}});
  DNSSocket dns("example.org");
  EXPECT_EQ(Get(dns, &DNSSocket::GetTXTRecords), (Texts{"text"}));
  EXPECT_EQ(Get(dns, &DNSSocket::GetARecords), (Texts{"192.0.2.1"}));
  EXPECT_EQ(Get(dns, &DNSSocket::GetNSRecords), (Texts{"ns.example.org"}));
  EXPECT_EQ(Get(dns, &DNSSocket::GetARecords), (Texts{"192.0.2.1"}));
  EXPECT_EQ(server.Questions(),
            (Texts{"TXT example.org", "A example.org", "NS example.org", "A example.org"}));
}

TEST_F(DNSSocketTest, WithoutAnSPFTextEachCallAsksAgain) {
  const ScriptedNameServer server(Zone{{"TXT example.org", {"text", "V=SPF1 -all"}}});
  DNSSocket dns("example.org");
  EXPECT_EQ(dns.GetSPFRecord(), "");
  EXPECT_EQ(dns.GetSPFRecord(), "");
  EXPECT_EQ(server.Questions(), (Texts{"TXT example.org", "TXT example.org"}));
}

TEST_F(DNSSocketTest, AnSPFTextIsRemembered) {
  const ScriptedNameServer server(Zone{{"TXT example.org", {"text", "v=spf1 -all", "more"}}});
  DNSSocket dns("example.org");
  EXPECT_EQ(dns.GetSPFRecord(), "v=spf1 -all");
  EXPECT_EQ(dns.GetSPFRecord(), "v=spf1 -all");
  EXPECT_EQ(server.Questions(), (Texts{"TXT example.org"}));
}

TEST_F(DNSSocketTest, AnSPFTextIsRememberedWhicheverLookUpFoundIt) {
  for (const LookUp lookUp :
       {&DNSSocket::GetARecords, &DNSSocket::GetNSRecords, &DNSSocket::GetTXTRecords}) {
    const ScriptedNameServer server([](const Bytes& query) {
      return Datagrams{ReplyBuilder(query).A("192.0.2.1").TXT({"v=spf1 a"}).Build()};
    });
    DNSSocket dns("example.org");
    EXPECT_EQ(Get(dns, lookUp), (Texts{"192.0.2.1", "v=spf1 a"}));
    EXPECT_EQ(dns.GetSPFRecord(), "v=spf1 a");
    EXPECT_EQ(server.Queries().size(), 1U);
  }
}

TEST_F(DNSSocketTest, TheSecondOfTwoSPFTextsCounts) {
  const ScriptedNameServer server(
      Zone{{"TXT example.org", {"v=spf1 a -all", "v=spf1 mx -all", "text"}}});
  EXPECT_EQ(DNSSocket("example.org").GetSPFRecord(), "v=spf1 mx -all");
}

TEST_F(DNSSocketTest, TheLastTextLookUpThatFindsAnSPFTextCounts) {
  int count = 0;
  const ScriptedNameServer server([&count](const Bytes& query) {
    const std::string texts[] = {"v=spf1 a", "v=spf1 mx", "text"};
    return Datagrams{ReplyBuilder(query).TXT({texts[count++]}).Build()};
  });
  DNSSocket dns("example.org");
  for (const std::string spf : {"v=spf1 a", "v=spf1 mx", "v=spf1 mx"}) {
    Get(dns, &DNSSocket::GetTXTRecords);
    EXPECT_EQ(dns.GetSPFRecord(), spf);
  }
}

TEST_F(DNSSocketTest, AnSPFTextContainsTheMarkAnywhere) {
  const ScriptedNameServer server(Zone{{"TXT example.org", {"some v=spf text"}}});
  EXPECT_EQ(DNSSocket("example.org").GetSPFRecord(), "some v=spf text");
}

TEST_F(DNSSocketTest, TheMarkIsSearchedBeforeCleaningAndTheTextKeptAfterIt) {
  const ScriptedNameServer server([](const Bytes& query) {
    return Datagrams{ReplyBuilder(query).TXT({"v=spf1 \x01-all"}).TXT({"v=s\x01pf1 mx"}).Build()};
  });
  DNSSocket dns("example.org");
  EXPECT_EQ(Get(dns, &DNSSocket::GetTXTRecords), (Texts{"v=spf1 -all", "v=spf1 mx"}));
  EXPECT_EQ(dns.GetSPFRecord(), "v=spf1 -all");
}

TEST_F(DNSSocketTest, OnlyATextRecordIsAnSPFText) {
  const ScriptedNameServer server(
      [](const Bytes& query) { return Datagrams{ReplyBuilder(query).NS("v=spf1.test").Build()}; });
  DNSSocket dns("example.org");
  EXPECT_EQ(Get(dns, &DNSSocket::GetNSRecords), (Texts{"v=spf1.test"}));
  EXPECT_EQ(dns.GetSPFRecord(), "");
}

TEST_F(DNSSocketTest, ALookUpWritesItsLineAtOnceEvenWhileTheLoggingThreadRuns) {
  const TemporaryDirectory directory;
  InOwnProcess([&directory] {
    fwk::Logger::Init((directory.Path() + "/").c_str(), fwk::Debug, false, false);
    fwk::Logger::m_bToFile = true;
    fwk::Logger::m_bToConsole = false;
    const Mutex threadBlocked(fwk::Logger::m_MutexInstance, true);
    fwk::Logger::StartAsync();
    TransferSocket dns;
    dns.m_onReceive = []() -> int { throw UDPSocketTimeoutException("late"); };
    EXPECT_EQ(Get(dns, &DNSSocket::GetARecords), Texts{});
    EXPECT_EQ(directory.Read("current.log"),
              "Debug: DNSSocket::DoQuery - UDPSocketTimeoutException - late\n");
    std::_Exit(HasFailure() ? 1 : 0);  // leaves the static objects to the parent
  });
}

TEST_F(DNSSocketTest, AServerThatCannotBeUsedThrows) {
  dns_servers = "0.0.0.0";
  DNSSocket dns("example.org");
  for (const LookUp lookUp :
       {&DNSSocket::GetARecords, &DNSSocket::GetNSRecords, &DNSSocket::GetTXTRecords}) {
    Texts values = {"old"};
    EXPECT_EQ(FailureText<UDPSocketException>([&] { (dns.*lookUp)(values); }),
              "UDPSocket::Connect - inet_addr() failed");
    EXPECT_EQ(values, (Texts{"old"}));
  }
  EXPECT_THROW(dns.GetSPFRecord(), UDPSocketException);
}

TEST_F(DNSSocketTest, ExceptionsInsideAQueryAreLoggedAndSwallowed) {
  const struct {
    std::function<int()> onReceive;
    const char* line;
  } rows[] = {
      {[]() -> int { throw UDPSocketTimeoutException("late"); },
       "Debug: DNSSocket::DoQuery - UDPSocketTimeoutException - late\n"},
      {[]() -> int { throw UDPSocketException("udp"); },
       "Error: DNSSocket::DoQuery - StdException - udp\n"},
      {[]() -> int { throw SocketException("100%s"); },
       "Error: DNSSocket::DoQuery - StdException - 100%s\n"},
      {[]() -> int { throw StdSystemException(5, "system"); },
       "Error: DNSSocket::DoQuery - StdException - system\n"},
      {[]() -> int { throw StdException(""); }, "Error: DNSSocket::DoQuery - StdException - \n"},
      {[]() -> int { throw std::out_of_range("range"); },
       "Error: DNSSocket::DoQuery - exception - range\n"},
      {[]() -> int { throw 42; }, "Error: DNSSocket::DoQuery - unknown exception\n"},
  };
  for (const auto& row : rows) {
    TransferSocket dns;
    dns.m_onReceive = row.onReceive;
    Texts values = {"old"};
    EXPECT_EQ(CaptureLog([&] { EXPECT_EQ(dns.GetARecords(values), 0); }), row.line);
    EXPECT_EQ(values, Texts{});
  }
}

TEST_F(DNSSocketTest, AServerThatCannotBeReachedOrIsNotAnAddressIsLoggedAsAnError) {
  for (const char* server : {"192.0.2.53", "not-an-address"}) {
    dns_servers = server;
    EXPECT_EQ(CaptureLog([] { EXPECT_EQ(Get("example.org", &DNSSocket::GetARecords), Texts{}); }),
              "Error: DNSSocket::DoQuery - StdException - UDPSocket::CheckSocketStatus - error "
              "writing from the socket [] :: failed with code 101: Network is unreachable\n");
  }
}

TEST_F(DNSSocketTest, ThreadsMayUseObjectsOfTheirOwnAtOnce) {
  const ScriptedNameServer server(
      Zone{{"A a.test", {"192.0.2.1"}}, {"A b.test", {"192.0.2.2"}}, {"A c.test", {"192.0.2.3"}}});
  const auto lookUp = [](const std::string& domain, const std::string& address) {
    for (int i = 0; i < 100; ++i) {
      EXPECT_EQ(Get(domain, &DNSSocket::GetARecords), (Texts{address}));
    }
  };
  const std::jthread first(lookUp, "a.test", "192.0.2.1");
  const std::jthread second(lookUp, "b.test", "192.0.2.2");
  const std::jthread third(lookUp, "c.test", "192.0.2.3");
}

// One thread wrote the text of the name server while others read it.
TEST_F(DNSSocketTest, ThreadsMayMakeTheFirstObjectsAndLookUpAtOnce) {
  SetResolverFile("nameserver 127.0.0.1\n");
  const ScriptedNameServer server(Zone{{"A example.org", {"192.0.2.1"}}});
  for (int i = 0; i < 20; ++i) {
    dns_servers.clear();
    std::latch start(2);
    const auto lookUp = [&start] {
      start.arrive_and_wait();
      EXPECT_EQ(Get("example.org", &DNSSocket::GetARecords), Texts{"192.0.2.1"});
    };
    const std::jthread first(lookUp);
    const std::jthread second(lookUp);
  }
}

TEST_F(DNSSocketTest, ThreadsMayLookUpAtOnceWhereTheNameServerStaysEmpty) {
  SetResolverFile("");
  Config::m_config["dns_server"] = "";
  dns_servers.clear();  // and each object loads it again
  const auto lookUp = [] {
    for (int i = 0; i < 100; ++i) {
      EXPECT_EQ(Get("example.org", &DNSSocket::GetARecords), Texts{});
    }
  };
  {
    const std::jthread first(lookUp);
    const std::jthread second(lookUp);
  }
  Config::m_config.clear();
}

TEST_F(DNSSocketTest, AnObjectHasOneDescriptorFromItsFirstLookUpToItsEnd) {
  const ScriptedNameServer server(Zone{});
  const std::ptrdiff_t before = OpenDescriptors();
  {
    DNSSocket dns("example.org");
    EXPECT_EQ(OpenDescriptors(), before);
    for (int i = 0; i < 20; ++i) {
      Get(dns, &DNSSocket::GetARecords);
      EXPECT_EQ(OpenDescriptors(), before + 1);
    }
  }
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(DNSSocketTest, ALateReplyIsNotTakenForTheReplyToTheNextLookUp) {
  const ScriptedNameServer server([](const Bytes& query) {
    const bool addresses = query[query.size() - 11] == 1;
    return addresses ? Datagrams{ReplyBuilder(query).A("192.0.2.1").Build(),
                                 ReplyBuilder(query).A("192.0.2.9").Build()}
                     : Datagrams{ReplyBuilder(query).NS("ns.test").Build()};
  });
  DNSSocket dns("example.org");
  for (int i = 0; i < 50; ++i) {
    EXPECT_EQ(Get(dns, &DNSSocket::GetARecords), (Texts{"192.0.2.1"}));
    EXPECT_EQ(Get(dns, &DNSSocket::GetNSRecords), (Texts{"ns.test"}));
  }
}
