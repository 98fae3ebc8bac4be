// The built program: its start, its messages about the configuration, and where it listens.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "programs/spf-policyd/ListenAddress.h"
#include "tests/spf_policyd/DatagramReceiver.h"
#include "tests/spf_policyd/ExampleMail.h"
#include "tests/spf_policyd/RunningService.h"

namespace {

// Returns the exit status and the outputs.
std::string Said(const ChildResult& result) {
  return std::to_string(result.exitStatus) + " " + result.standardOutput + result.standardError;
}

}  // namespace

TEST(StartTest, HelpAndVersionArePrinted) {
  EXPECT_TRUE(Said(RunService({"--help"})).starts_with("0 Usage: spf-policyd [OPTION]\n"));
  EXPECT_EQ(Said(RunService({"-h"})), Said(RunService({"--help"})));
  EXPECT_TRUE(std::regex_match(Said(RunService({"--version"})),
                               std::regex("0 spf-policyd \\d+\\.\\d+\\.\\d+\n")));
  EXPECT_EQ(Said(RunService({"-V"})), Said(RunService({"--version"})));
}

TEST(StartTest, WrongUsePrintsTheUsage) {
  for (const char* const argument : {"--none", "-x", "argument"}) {
    const ChildResult result = RunService({argument});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_NE(result.standardError.find("Usage: spf-policyd"), std::string::npos);
    EXPECT_EQ(result.standardOutput, "");
  }
}

TEST(StartTest, AMalformedConfigurationEndsItWithTheLineAndTheFault) {
  const ServiceFiles files("");
  files.Configure("refuse = x");
  const std::string said =
      "2 spf-policyd: /etc/spf-policyd.conf:3: unknown key \"refuse \"; leave no blank before the "
      "\"=\"\n";
  EXPECT_EQ(Said(RunService({})), said);
  EXPECT_EQ(Said(RunService({"--check-config"})), said);
}

TEST(StartTest, AConfigurationThatCannotBeReadEndsIt) {
  const ServiceFiles files("");
  std::filesystem::remove("/etc/spf-policyd.conf");
  std::filesystem::create_directory("/etc/spf-policyd.conf");
  EXPECT_EQ(Said(RunService({})),
            "2 spf-policyd: Unable to read configuration file: /etc/spf-policyd.conf\n");
}

TEST(StartTest, AnAddressInUseEndsItWithStatus1) {
  RunningService first;
  EXPECT_EQ(Said(RunService({})),
            "1 spf-policyd: cannot listen on 127.0.0.1:10040: bind :: failed with code 98: Address "
            "already in use\n");
  EXPECT_EQ(PolicyClient().Ask(kUnchecked), "DUNNO");
  first.ExpectGoodEnd();
}

TEST(StartTest, ItListensOnLoopbackOnly) {
  RunningService service;
  std::ostringstream sockets;
  sockets << std::ifstream("/proc/self/net/tcp").rdbuf();
  EXPECT_NE(sockets.str().find(" 0100007F:2738 00000000:0000 0A "), std::string::npos);
  EXPECT_EQ(sockets.str().find(" 00000000:2738 "), std::string::npos);
  service.ExpectGoodEnd();
}

TEST(StartTest, ItListensOnAUnixSocket) {
  const TemporaryDirectory directory;
  RunningService service("listen=unix:" + directory.Path("socket") + "\n");
  EXPECT_EQ(PolicyClient(directory.Path("socket")).Ask(kUnchecked), "DUNNO");
  service.ExpectGoodEnd();
}

TEST(StartTest, AnUnwritableLogIsReportedAndMailIsServed) {
  const ServiceFiles files("");
  std::ofstream("/etc/spf-policyd.conf") << "logging=/nonexistent/\n";
  ChildProcess service(SPF_POLICYD_PROGRAM, {"spf-policyd"}, "/");
  EXPECT_EQ(PolicyClient().Ask(kUnchecked), "DUNNO");
  service.Signal(SIGTERM);
  EXPECT_EQ(Said(service.Wait()),
            "0 spf-policyd: cannot write the log /nonexistent/current.log: No such file or "
            "directory\n");
}

TEST(StartTest, ItLogsToTheSystemLogIfThatIsSet) {
  const ServiceFiles files("syslog=1\n");
  const OwnMount devices("/dev");
  const DatagramReceiver log("/dev/log");
  ChildProcess service(SPF_POLICYD_PROGRAM, {"spf-policyd"}, "/");
  const std::string line = log.Receive();
  EXPECT_TRUE(std::regex_search(line, std::regex("spf-policyd\\[\\d+\\]: Info: started, version ")))
      << line;
  service.Signal(SIGTERM);
  EXPECT_EQ(Said(service.Wait()), "0 ");
  EXPECT_TRUE(files.Log().empty());
}

TEST(StartTest, ItServesWithoutStandardStreams) {
  const ScriptedNameServer names(kZone);
  RunningService service("trial=0\n", "exec \"$0\" <&- >&- 2>&-");
  EXPECT_TRUE(PolicyClient().Ask(Mail()).starts_with("PREPEND X-SPF-Check: mail.test; passed; "));
  service.ExpectGoodEnd();
}

TEST(StartTest, ItTakesOverASocketOfTheServiceManager) {
  const int listener = ListenAddress("127.0.0.1:10099").Open();
  fcntl(listener, F_SETFD, 0);
  RunningService service("",
                         "LISTEN_FDS=1 LISTEN_PID=$$ exec \"$0\" 3<&" + std::to_string(listener));
  EXPECT_EQ(PolicyClient(10099).Ask(kUnchecked), "DUNNO");
  service.ExpectGoodEnd();
  close(listener);
}

TEST(StartTest, ItReportsItsStateToTheServiceManager) {
  const TemporaryDirectory directory;
  const DatagramReceiver manager(directory.Path("notify"));
  setenv("NOTIFY_SOCKET", directory.Path("notify").c_str(), 1);
  RunningService service;
  EXPECT_EQ(manager.Receive(), "READY=1");
  service.Signal(SIGHUP);
  EXPECT_EQ(manager.Receive(), "RELOADING=1");
  EXPECT_EQ(manager.Receive(), "READY=1");
  service.ExpectGoodEnd();
  EXPECT_EQ(manager.Receive(), "STOPPING=1");
}

TEST(StartTest, AConfiguredNameServerIsAskedInsteadOfTheSystems) {
  const ScriptedNameServer names(kZone);
  RunningService service("trial=0\ntime_limit=1\ndns_server=127.0.0.9\n");
  EXPECT_NE(PolicyClient().Ask(Mail()).find("; no verdict; "), std::string::npos);
  service.ExpectGoodEnd();
}

TEST(StartTest, ItWarnsOfANameServerWithoutAnIPv4Address) {
  RunningService service("", "echo nameserver ::1 > /etc/resolv.conf; exec \"$0\"");
  service.ExpectGoodEnd();
  EXPECT_EQ(service.Files().Count("Warning: no verdicts, as the name server has no IPv4 address: "
                                  "::1; set dns_server"),
            1U);
}

TEST(StartTest, CheckConfigPrintsTheSettingsAndTheTermsThatAreNotEvaluated) {
  const ScriptedNameServer names(
      ScriptedNameServer::Zone{{"TXT example.org", {"v=spf1 ip4:192.0.2.0/24 mx -all"}},
                               {"TXT example.net", {"v=spf1 a -all"}}});
  const ServiceFiles files("refuse=example.org,.example.net\ntime_limit=7\n");
  const ChildResult result = RunService({"--check-config"});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.standardError, "");
  EXPECT_TRUE(result.standardOutput.starts_with("listen=127.0.0.1:10040\nrefuse=example.org,"));
  EXPECT_TRUE(
      result.standardOutput.ends_with("\nlog_level=3\n"
                                      "\nexample.org: not evaluated: mx\n"
                                      "\nexample.net: all terms are evaluated\n"));
  EXPECT_TRUE(files.Log().empty());
}
