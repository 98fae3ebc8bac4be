// Descriptors that run short.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <string>
#include <vector>

#include "framework/config/Config.h"
#include "framework/core/Exceptions.h"
#include "framework/dns/DNSSocket.h"
#include "framework/dns/NameServer.h"
#include "framework/logging/Logger.h"
#include "tests/faults/KnownRun.h"
#include "tests/faults/LogTo.h"
#include "tests/faults/ToolProcess.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/FailureText.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScriptedNameServer.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

using Texts = std::vector<std::string>;
using Zone = ScriptedNameServer::Zone;

// Starts the tool with so many descriptors, the three standard streams among them.
std::string WithDescriptors(int count) {
  return "exec 3>&- 4>&- 5>&- 6>&- 7>&- 8>&- 9>&-; ulimit -n " + std::to_string(count) +
         "; exec \"$@\"";
}

// While one exists this process can open nothing.
class NoDescriptors {
 public:
  NoDescriptors() {
    getrlimit(RLIMIT_NOFILE, &m_limit);
    const int lowest = dup(STDIN_FILENO);
    close(lowest);
    const rlimit none{static_cast<rlim_t>(lowest), m_limit.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  }
  ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &m_limit); }

  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;

 private:
  rlimit m_limit{};
};

// While one exists this process has all descriptors below limit open, where it may.
class ManyDescriptors {
 public:
  explicit ManyDescriptors(int limit) {
    getrlimit(RLIMIT_NOFILE, &m_limit);
    const rlimit more{std::min<rlim_t>(m_limit.rlim_max, static_cast<rlim_t>(limit) + 100),
                      m_limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &more);
    int next = dup(STDIN_FILENO);
    while (next >= 0 && next < limit) {
      m_copies.push_back(next);
      next = dup(STDIN_FILENO);
    }
    m_exist = next >= 0;
    close(next);
  }
  ~ManyDescriptors() {
    std::for_each(m_copies.begin(), m_copies.end(), close);
    setrlimit(RLIMIT_NOFILE, &m_limit);
  }

  ManyDescriptors(const ManyDescriptors&) = delete;
  ManyDescriptors& operator=(const ManyDescriptors&) = delete;

  bool Exist() const { return m_exist; }

 private:
  rlimit m_limit{};
  std::vector<int> m_copies;
  bool m_exist = false;
};

}  // namespace

// The tool: one descriptor for the socket, one for the log.

TEST(DescriptorLimitTest, FiveDescriptorsAreEnoughForTheTool) {
  SetResolverFile("nameserver 127.0.0.1\n");
  const ScriptedNameServer server(Zone{{"TXT example.org", {"v=spf1 include:a.test -all"}},
                                       {"TXT a.test", {"v=spf1 a -all"}},
                                       {"A a.test", {"192.0.2.7"}}});
  const std::string log = kBegin +
                          "Debug: SPFCheck::SPFCheck spf record = v=spf1 include:a.test -all\n"
                          "Debug: SPFCheck::processINCLUDE - domain::a.test\n"
                          "Debug: SPFCheck::SPFCheck ip(192.0.2.7), smtpFrom(), domain(a.test)\n"
                          "Debug: SPFCheck::SPFCheck spf record = v=spf1 a -all\n"
                          "Debug: SPFCheck::processA - domain::a.test\n"
                          "Debug: SPFCheck::checkDomain: ip::192.0.2.7 == ARecord::192.0.2.7\n";
  ToolProcess(kPublishedRecord, WithDescriptors(5))
      .ExpectEnd({.standardOutput = log + "SPFCheck::passed \n", .standardError = "", .log = log});
}

TEST(DescriptorLimitTest, WithFourTheFileLosesTheLinesThatAreLoggedWhileASocketIsOpen) {
  SetResolverFile("nameserver 127.0.0.1\n");
  const ScriptedNameServer server(
      Zone{{"TXT example.org", {"v=spf1 a -all"}}, {"A example.org", {"192.0.2.7"}}});
  const std::string first = kBegin +
                            "Debug: SPFCheck::SPFCheck spf record = v=spf1 a -all\n"
                            "Debug: SPFCheck::processA - domain::example.org\n";
  ToolProcess(kPublishedRecord, WithDescriptors(4))
      .ExpectEnd({.standardOutput =
                      first + "Debug: SPFCheck::checkDomain: ip::192.0.2.7 == ARecord::192.0.2.7\n"
                              "SPFCheck::passed \n",
                  .standardError = "",
                  .log = first});
}

TEST(DescriptorLimitTest, WhenTheyRunOutBetweenTwoQueriesTheReportEndsAfterTheHeader) {
  SetResolverFile("nameserver 127.0.0.1\n");
  const TemporaryDirectory directory;
  const ScriptedNameServer server([&](const Bytes& query) {
    pid_t tool = 0;
    std::ifstream(directory.Path("pid")) >> tool;
    const rlimit streamsOnly{3, 3};
    EXPECT_TRUE(tool > 0 && prlimit(tool, RLIMIT_NOFILE, &streamsOnly, nullptr) == 0);
    return Datagrams{ReplyBuilder(query).A("192.0.2.1").Build()};
  });
  ToolProcess(directory.Path(), {"example.org"}, "echo $$ >pid; exec \"$@\"")
      .ExpectEnd({.standardOutput = "Domain : example.org\n"
                                    "A records : \n\t192.0.2.1\n"
                                    "MX records : \n"
                                    "NS records : \n",
                  .standardError = "terminate called after throwing an instance of "
                                   "'SocketException'\n"
                                   "  what():  Socket::CreateSocket - socket :: failed with code "
                                   "24: Too many open files\n",
                  .log = "",
                  .status = 128 + SIGABRT});
}

// The library.

TEST(DescriptorLimitTest, ALookUpWithoutADescriptorThrowsAndTheNextOneWorks) {
  DoNotLog();
  dns_servers = "127.0.0.1";
  const ScriptedNameServer server(Zone{{"A example.org", {"192.0.2.1"}}});
  const std::ptrdiff_t before = OpenDescriptors();
  {
    DNSSocket dns("example.org");
    Texts values = {"old"};
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(FailureText<SocketException>([&] {
                  const NoDescriptors none;
                  dns.GetARecords(values);
                }),
                "Socket::CreateSocket - socket :: failed with code 24: Too many open files");
      EXPECT_EQ(values, Texts{"old"});
    }
    dns.GetARecords(values);
    EXPECT_EQ(values, Texts{"192.0.2.1"});
  }
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST(DescriptorLimitTest, WhereAllDescriptorsBelow1024AreTakenALookUpFailsWithoutAnException) {
  DoNotLog();
  dns_servers = "127.0.0.1";
  const ScriptedNameServer server(Zone{{"A example.org", {"192.0.2.1"}}});
  DNSSocket dns("example.org");
  Texts values = {"old"};
  const std::string log = CaptureLog([&] {
    const ManyDescriptors many(1024);
    if (!many.Exist()) {
      return;
    }
    EXPECT_EQ(dns.GetARecords(values), 0);
    EXPECT_EQ(values, Texts{});
  });
  if (values == Texts{"old"}) {
    GTEST_SKIP() << "this machine forbids a process so many descriptors";
  }
  EXPECT_TRUE(
      log.starts_with("Error: DNSSocket::DoQuery - StdException - "
                      "UDPSocket::SelectReadWrite - socket handle exceeds FD_SETSIZE :: "))
      << log;
  EXPECT_EQ(server.Questions(), Texts{});
}

TEST(DescriptorLimitTest, WithoutADescriptorForTheResolverFileTheBuiltInServerIsTakenForGood) {
  DoNotLog();
  SetResolverFile("nameserver 127.0.0.1\n");
  dns_servers.clear();
  Config::m_config.clear();
  {
    const NoDescriptors none;
    const DNSSocket dns("example.org");
  }
  EXPECT_EQ(dns_servers, "9.9.9.9");
  const DNSSocket dns("example.org");
  EXPECT_EQ(dns_servers, "9.9.9.9");
}

TEST(DescriptorLimitTest, AConfigurationWithoutADescriptorIsUnreadableAndNotMissing) {
  const TemporaryDirectory directory;
  directory.Write("a.conf", "key=value\n");
  EXPECT_EQ(FailureText<ConfigException>([&] {
              const NoDescriptors none;
              Config::Load(directory.Path("a.conf"), "");
            }).substr(0, 34),
            "Unable to read configuration file:");
  Config::Load(directory.Path("a.conf"), "");
  EXPECT_EQ(Config::GetString("key", ""), "value");
}

TEST(DescriptorLimitTest, ALineLoggedWithoutADescriptorIsOnTheConsoleOnlyAndTheNextInTheFileToo) {
  const TemporaryDirectory directory;
  LogTo(directory.Path());
  EXPECT_EQ(CaptureOutput([] {
              {
                const NoDescriptors none;
                fwk::Logger::Log(fwk::Info, "one");
              }
              fwk::Logger::Log(fwk::Info, "two");
            }),
            "Info: one\nInfo: two\n");
  EXPECT_EQ(directory.Read("current.log"), "Info: two\n");
  DoNotLog();
}
