// The built program: how it starts, what it says of its configuration, and where it listens.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "programs/spf-policyd/ListenAddress.h"
#include "tests/spf_policyd/PolicyClient.h"
#include "tests/spf_policyd/RunningService.h"
#include "tests/support/ScriptedNameServer.h"

namespace {

const ScriptedNameServer::Zone kZone = {{"TXT example.org", {"v=spf1 ip4:192.0.2.0/24 -all"}}};
const std::string kUnknown = "name=value\n\n";  // a request that needs no check

std::string Said(const ChildResult& result) {
  return std::to_string(result.exitStatus) + " " + result.standardOutput + result.standardError;
}

}  // namespace

TEST(StartTest, HelpAndVersionAreTold) {
  EXPECT_TRUE(Said(RunService({"--help"})).starts_with("0 Usage: spf-policyd [OPTION]\n"));
  EXPECT_EQ(Said(RunService({"-h"})), Said(RunService({"--help"})));
  EXPECT_TRUE(std::regex_match(Said(RunService({"--version"})),
                               std::regex("0 spf-policyd \\d+\\.\\d+\\.\\d+\n")));
  EXPECT_EQ(Said(RunService({"-V"})), Said(RunService({"--version"})));
}

TEST(StartTest, WrongUseIsToldTheUsage) {
  for (const char* const argument : {"--none", "-x", "argument"}) {
    const ChildResult result = RunService({argument});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_NE(result.standardError.find("Usage: spf-policyd"), std::string::npos);
    EXPECT_EQ(result.standardOutput, "");
  }
}

TEST(StartTest, AMalformedConfigurationEndsItWithALineThatSaysWhatAndWhere) {
  const ServiceFiles files("");
  const struct {
    const char* settings;
    const char* fault;
  } rows[] = {
      {"time_limit=x", ":3: time_limit: not a number of 1 to 90: x"},
      {"refuse = x", ":3: unknown key \"refuse \"; leave no blank before the \"=\""},
      {"[main]", ":3: sections are not known here: [main]"},
      {"listen=::1:10040", ":3: listen: neither ADDRESS:PORT nor unix:PATH: ::1:10040"},
  };
  for (const auto& row : rows) {
    files.Configure(row.settings);
    for (const auto& arguments : {std::vector<std::string>(), {std::string("--check-config")}}) {
      EXPECT_EQ(Said(RunService(arguments)),
                std::string("2 spf-policyd: /etc/spf-policyd.conf") + row.fault + "\n");
    }
  }
  files.Configure("#" + std::string(1023, 'x'));
  EXPECT_EQ(Said(RunService({})),
            "2 spf-policyd: /etc/spf-policyd.conf:3: a line of 1024 characters or more\n");
}

TEST(StartTest, AConfigurationThatCannotBeReadEndsIt) {
  const ServiceFiles files("");
  std::filesystem::remove("/etc/spf-policyd.conf");
  std::filesystem::create_directory("/etc/spf-policyd.conf");
  EXPECT_EQ(Said(RunService({})),
            "2 spf-policyd: Unable to read configuration file: /etc/spf-policyd.conf\n");
}

TEST(StartTest, AnAddressInUseEndsItWithOne) {
  RunningService first;
  EXPECT_EQ(Said(RunService({})),
            "1 spf-policyd: cannot listen on 127.0.0.1:10040: bind :: failed with code 98: Address "
            "already in use\n");
  EXPECT_EQ(PolicyClient().Ask(kUnknown), "DUNNO");
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

TEST(StartTest, AUnixSocketIsListenedTo) {
  const TemporaryDirectory directory;
  RunningService service("listen=unix:" + directory.Path("socket") + "\n");
  EXPECT_EQ(PolicyClient(directory.Path("socket")).Ask(kUnknown), "DUNNO");
  service.ExpectGoodEnd();
}

TEST(StartTest, AnUnwritableLogIsToldAndMailIsServed) {
  const ServiceFiles files("");
  std::ofstream("/etc/spf-policyd.conf") << "logging=/nonexistent/\n";
  ChildProcess service(SPF_POLICYD_PROGRAM, {"spf-policyd"}, "/");
  EXPECT_EQ(PolicyClient().Ask(kUnknown), "DUNNO");
  service.Signal(SIGTERM);
  EXPECT_EQ(Said(service.Wait()),
            "0 spf-policyd: cannot write the log /nonexistent/current.log: No such file or "
            "directory\n");
}

TEST(StartTest, TheSystemLogGetsTheLinesWhereItIsWanted) {
  const ServiceFiles files("syslog=1\n");
  const OwnMount devices("/dev");
  const int log = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const sockaddr_un address{AF_UNIX, "/dev/log"};
  ASSERT_EQ(bind(log, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  const timeval limit{.tv_sec = 10, .tv_usec = 0};
  setsockopt(log, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
  ChildProcess service(SPF_POLICYD_PROGRAM, {"spf-policyd"}, "/");
  std::array<char, 500> buffer{};
  EXPECT_GT(recv(log, buffer.data(), buffer.size() - 1, 0), 0);
  EXPECT_TRUE(std::regex_search(buffer.data(),
                                std::regex("spf-policyd\\[\\d+\\]: Info: started, version ")))
      << buffer.data();
  service.Signal(SIGTERM);
  EXPECT_EQ(Said(service.Wait()), "0 ");
  EXPECT_TRUE(files.Log().empty());
  close(log);
}

TEST(StartTest, ItServesWithoutStandardStreams) {
  const ScriptedNameServer names(kZone);
  RunningService service("trial=0\n", "exec \"$0\" <&- >&- 2>&-");
  EXPECT_TRUE(PolicyClient()
                  .Ask(Request("192.0.2.7", "a@example.org"))
                  .starts_with("PREPEND X-SPF-Check: mail.test; passed; "));
  service.ExpectGoodEnd();
}

TEST(StartTest, ASocketOfTheServiceManagerIsTaken) {
  const int listener = ListenAddress("127.0.0.1:10099").Open();
  fcntl(listener, F_SETFD, 0);
  RunningService service("",
                         "LISTEN_FDS=1 LISTEN_PID=$$ exec \"$0\" 3<&" + std::to_string(listener));
  EXPECT_EQ(PolicyClient(10099).Ask(kUnknown), "DUNNO");
  service.ExpectGoodEnd();
  close(listener);
}

TEST(StartTest, TheServiceManagerIsToldWhatItDoes) {
  const TemporaryDirectory directory;
  const int manager = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  directory.Path("notify").copy(address.sun_path, sizeof(address.sun_path));
  ASSERT_EQ(bind(manager, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  const timeval limit{.tv_sec = 10, .tv_usec = 0};
  setsockopt(manager, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
  const auto receive = [&] {
    std::array<char, 100> buffer{};
    return std::string(recv(manager, buffer.data(), buffer.size() - 1, 0) > 0 ? buffer.data() : "");
  };
  setenv("NOTIFY_SOCKET", directory.Path("notify").c_str(), 1);
  RunningService service;
  EXPECT_EQ(receive(), "READY=1");
  service.Signal(SIGHUP);
  EXPECT_EQ(receive(), "RELOADING=1");
  EXPECT_EQ(receive(), "READY=1");
  service.ExpectGoodEnd();
  EXPECT_EQ(receive(), "STOPPING=1");
  close(manager);
}

TEST(StartTest, TheNameServerIsTheConfiguredOneOrTheSystems) {
  const ScriptedNameServer names(kZone);
  const std::string mail = Request("192.0.2.7", "a@example.org");
  {
    RunningService service("trial=0\n");
    EXPECT_NE(PolicyClient().Ask(mail).find("; passed; "), std::string::npos);
    service.ExpectGoodEnd();
  }
  RunningService service("trial=0\ntime_limit=1\ndns_server=127.0.0.9\n");
  EXPECT_NE(PolicyClient().Ask(mail).find("; no verdict; "), std::string::npos);
  service.ExpectGoodEnd();
}

TEST(StartTest, ANameServerWithoutAnIPv4AddressIsWarnedOf) {
  RunningService service("", "echo nameserver ::1 > /etc/resolv.conf; exec \"$0\"");
  service.ExpectGoodEnd();
  EXPECT_EQ(service.Files().Count("Warning: no verdicts, as the name server has no IPv4 address: "
                                  "::1; set dns_server"),
            1U);
}

TEST(StartTest, CheckConfigPrintsTheSettingsAndWhatIsNotEvaluated) {
  const ScriptedNameServer names(
      ScriptedNameServer::Zone{{"TXT example.org", {"v=spf1 ip4:192.0.2.0/24 mx -all"}},
                               {"TXT example.net", {"v=spf1 a -all"}}});
  const ServiceFiles files("refuse=example.org,.example.net\ntime_limit=7\n");
  const ChildResult result = RunService({"--check-config"});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.standardError, "");
  EXPECT_EQ(result.standardOutput,
            "listen=127.0.0.1:10040\n"
            "refuse=example.org,.example.net\n"
            "skip=127.0.0.0/8\n"
            "host=mail.test\n"
            "time_limit=7\n"
            "look_ups=20\n"
            "connections=1000\n"
            "trial=1\n"
            "dns_server=\n"
            "syslog=0\n"
            "logging=" +
                files.LogDirectory() +
                "\n"
                "log_level=3\n"
                "\n"
                "example.org: not evaluated: mx\n"
                "\n"
                "example.net: all terms are evaluated\n");
  EXPECT_TRUE(files.Log().empty());
}
