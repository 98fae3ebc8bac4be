// Too few descriptors.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "framework/core/Exceptions.h"
#include "framework/dns/DNSSocket.h"
#include "framework/dns/NameServer.h"
#include "tests/faults/KnownRun.h"
#include "tests/faults/ToolProcess.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/FailureText.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/ScriptedNameServer.h"

namespace {

using Texts = std::vector<std::string>;
using Zone = ScriptedNameServer::Zone;

// Returns a command that starts the tool with `count` descriptors, the standard streams included.
std::string WithDescriptors(int count) {
  return "exec 3>&- 4>&- 5>&- 6>&- 7>&- 8>&- 9>&-; ulimit -n " + std::to_string(count) +
         "; exec \"$@\"";
}

// While one exists, this process can open nothing.
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

}  // namespace

// One for the socket, one for the log.
TEST(DescriptorLimitTest, FiveDescriptorsAreEnoughForTheTool) {
  SetResolverFile("nameserver 127.0.0.1\n");
  const ScriptedNameServer server(Zone{{"TXT example.org", {"v=spf1 include:a.test -all"}},
                                       {"TXT a.test", {"v=spf1 a -all"}},
                                       {"A a.test", {"192.0.2.7"}}});
  ToolProcess(kPublishedRecord, WithDescriptors(5))
      .ExpectEnd(Verdict(kBegin + Record("v=spf1 include:a.test -all") +
                             "Debug: SPFCheck::processINCLUDE - domain::a.test\n" +
                             Begin("a.test") + Record("v=spf1 a -all") +
                             "Debug: SPFCheck::processA - domain::a.test\n"
                             "Debug: SPFCheck::checkDomain: ip::192.0.2.7 == ARecord::192.0.2.7\n",
                         "passed"));
}

TEST(DescriptorLimitTest, WithFourTheFileLacksTheLinesLoggedWhileASocketIsOpen) {
  SetResolverFile("nameserver 127.0.0.1\n");
  const ScriptedNameServer server(
      Zone{{"TXT example.org", {"v=spf1 a -all"}}, {"A example.org", {"192.0.2.7"}}});
  const std::string first =
      kBegin + Record("v=spf1 a -all") + "Debug: SPFCheck::processA - domain::example.org\n";
  ToolProcess(kPublishedRecord, WithDescriptors(4))
      .ExpectEnd({.standardOutput =
                      first + "Debug: SPFCheck::checkDomain: ip::192.0.2.7 == ARecord::192.0.2.7\n"
                              "SPFCheck::passed \n",
                  .standardError = "",
                  .log = first});
}

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
