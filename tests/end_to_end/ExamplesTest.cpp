// The programs in examples/, run as their users would.

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "tests/support/ChildProcess.h"
#include "tests/support/OwnMount.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/RealNameServer.h"
#include "tests/support/ScriptedNameServer.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Waiting.h"

namespace {

const std::string kDirectory = EXAMPLE_DIRECTORY;

ChildResult RunExample(const std::string& name, std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), name);
  return RunChild(kDirectory + "/" + name, arguments, "/");
}

std::vector<std::string> Lines(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

// Blocks until a UDP socket is bound to `port`, four hexadecimal digits.
void WaitUntilBound(const std::string& port) {
  EXPECT_TRUE(ComesTrue([&port] {
    std::ostringstream sockets;
    sockets << std::ifstream("/proc/self/net/udp").rdbuf();
    return sockets.str().find("00000000:" + port) != std::string::npos;
  })) << "nothing is bound to port "
      << port;
}

class EchoServer {
 public:
  EchoServer() : m_child(kDirectory + "/echo_server", {"echo_server", "7007"}, "/") {
    WaitUntilBound("1B5F");
  }

  ChildResult Stop(int signal) {
    m_child.Signal(signal);
    return m_child.Wait();
  }

 private:
  ChildProcess m_child;
};

}  // namespace

TEST(ExamplesTest, TheProbeIsEchoedAndTimed) {
  EchoServer server;
  const ChildResult probe = RunExample("echo_probe", {"127.0.0.1", "7007"});
  EXPECT_TRUE(std::regex_match(probe.standardOutput,
                               std::regex("127\\.0\\.0\\.1:7007 answered in \\d+ microseconds\n")))
      << probe.standardOutput;
  EXPECT_EQ(probe.standardError, "");
  EXPECT_EQ(probe.exitStatus, 0);

  const ChildResult served = server.Stop(SIGTERM);
  EXPECT_TRUE(std::regex_match(
      served.standardOutput,
      std::regex("Received packet from 127\\.0\\.0\\.1:\\d+\nData: [1-9a-zA-Z]{16}\n")))
      << served.standardOutput;
  EXPECT_EQ(served.standardError, "");
  EXPECT_EQ(served.exitStatus, 0);
}

TEST(ExamplesTest, TheEchoServerEndsOnAnInterrupt) {
  EchoServer server;
  const ChildResult served = server.Stop(SIGINT);
  EXPECT_EQ(served.standardOutput, "");
  EXPECT_EQ(served.standardError, "");
  EXPECT_EQ(served.exitStatus, 0);
}

TEST(ExamplesTest, ASecondServerOnAPortFailsWithAMessage) {
  EchoServer server;
  const ChildResult second = RunExample("echo_server", {"7007"});
  EXPECT_EQ(second.standardError,
            "echo_server: Listen - bind :: failed with code 98: Address already in use\n");
  EXPECT_EQ(second.exitStatus, 1);
  EXPECT_EQ(server.Stop(SIGTERM).exitStatus, 0);
}

TEST(ExamplesTest, TheAddressZeroCannotBeProbed) {
  const ChildResult probe = RunExample("echo_probe", {"0.0.0.0", "7007"});
  EXPECT_EQ(probe.standardError, "echo_probe: UDPSocket::Connect - inet_addr() failed\n");
  EXPECT_EQ(probe.exitStatus, 1);
}

TEST(ExamplesTest, EachBlocklistHasALine) {
  const RealNameServer server(Server::kNsd);
  // Answers that are not trusted are never released.
  const ChildResult run =
      RunChild("/usr/bin/env",
               {"env", "ASAN_OPTIONS=detect_leaks=0", kDirectory + "/blocklist", "192.0.2.2",
                "listed.lists.test", "foreign.lists.test", "zero.lists.test", "none.lists.test"},
               "/");
  EXPECT_EQ(run.standardOutput,
            "listed.lists.test: listed, 127.0.0.2\n"
            "foreign.lists.test: no answer to trust: invalid response (10.0.0.1), "
            "2.2.0.192.foreign.lists.test rbl 0\n"
            "zero.lists.test: no answer to trust: response 0, 2.2.0.192.zero.lists.test rbl 0\n"
            "none.lists.test: not listed\n");
  EXPECT_EQ(run.standardError, "");
  EXPECT_EQ(run.exitStatus, 0);
}

TEST(ExamplesTest, ABlocklistWhoseServerDoesNotAnswerIsNotTrusted) {
  const ScriptedNameServer silent(Silence);
  SetResolverFile("nameserver 127.0.0.1\noptions timeout:1 attempts:1\n");
  const ChildResult run = RunExample("blocklist", {"192.0.2.2", "listed.lists.test"});
  EXPECT_EQ(run.standardOutput,
            "listed.lists.test: no answer to trust: 2.2.0.192.listed.lists.test rbl -3 Temporary "
            "failure in name resolution\n");
  EXPECT_EQ(run.exitStatus, 0);
}

TEST(ExamplesTest, TheDaemonLogsItsEnvironmentAndAllItsWorkers) {
  const OwnMount etc("/etc");
  const TemporaryDirectory logs;
  std::ofstream("/etc/greylog.conf") << "logging=" << logs.Path() << "/\nColour = blue\n";

  const ChildResult run = RunExample("greylog", {"GreyLog", "1.0"});
  EXPECT_EQ(run.standardOutput, "");
  EXPECT_EQ(run.standardError, "");
  EXPECT_EQ(run.exitStatus, 0);

  std::vector<std::string> messages;
  std::vector<std::vector<std::string>> workers(5);
  const std::regex line(
      R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d \[ *\d+\] Info: (worker (\d): message .*|.*))");
  for (const std::string& text : Lines(logs.Read("current.log"))) {
    std::smatch match;
    ASSERT_TRUE(std::regex_match(text, match, line)) << text;
    if (match[2].matched) {
      workers.at(std::stoul(match[2])).push_back(match[1]);
    } else {
      messages.push_back(match[1]);
    }
  }
  EXPECT_EQ(messages, (std::vector<std::string>{"starting greylog version 1.0", "environment....",
                                                "colour ::blue", "logging::" + logs.Path() + "/",
                                                "greylog ends"}));
  for (int worker = 1; worker <= 4; ++worker) {
    std::vector<std::string> wanted;
    for (int message = 1; message <= 25; ++message) {
      wanted.push_back("worker " + std::to_string(worker) + ": message " + std::to_string(message) +
                       " of 25");
    }
    EXPECT_EQ(workers.at(static_cast<std::size_t>(worker)), wanted);
  }
}

TEST(ExamplesTest, TheEchoServerAcceptsOnlyAPort) {
  const std::vector<std::string> rows[] = {
      {"abc"},   {"--help"},       {""}, {"0"}, {"65536"}, {"4294967303"}, {"-1"},
      {"7007x"}, {"7007", "7008"},
  };
  for (const auto& row : rows) {
    const ChildResult run = RunExample("echo_server", row);
    EXPECT_EQ(run.standardError, "Usage: echo_server PORT\n") << row[0];
    EXPECT_EQ(run.standardOutput, "");
    EXPECT_EQ(run.exitStatus, 1);
  }
}

TEST(ExamplesTest, TheDaemonReportsALogThatItCannotWrite) {
  const OwnMount etc("/etc");
  const TemporaryDirectory logs;
  std::filesystem::create_symlink("/dev/full", logs.Path("current.log"));
  for (const std::string& location : {logs.Path("missing/"), logs.Path() + "/"}) {
    std::ofstream("/etc/greylog.conf") << "logging=" << location << "\n";
    const ChildResult run = RunExample("greylog", {"GreyLog", "1.0"});
    EXPECT_EQ(run.standardError, "greylog: cannot write " + location + "current.log\n");
    EXPECT_EQ(run.standardOutput, "");
    EXPECT_EQ(run.exitStatus, 1);
  }
}

TEST(ExamplesTest, TheDaemonRunsWithoutALogWhereNoneIsWanted) {
  const OwnMount etc("/etc");
  const TemporaryDirectory logs;
  for (const std::string settings : {"logging=\n", "log_level=4\nlogging=/nowhere/\n"}) {
    std::ofstream("/etc/greylog.conf") << settings;
    const ChildResult run = RunExample("greylog", {"GreyLog", "1.0"});
    EXPECT_EQ(run.standardError, "") << settings;
    EXPECT_EQ(run.exitStatus, 0) << settings;
  }
}

TEST(ExamplesTest, EachExamplePrintsItsUsage) {
  const struct {
    const char* name;
    const char* usage;
  } rows[] = {
      {"blocklist", "Usage: blocklist ADDRESS ZONE...\n"},
      {"echo_probe", "Usage: echo_probe ADDRESS PORT\n"},
      {"echo_server", "Usage: echo_server PORT\n"},
      {"greylog", "Usage: greylog NAME VERSION\n"},
  };
  for (const auto& row : rows) {
    const ChildResult run = RunExample(row.name, {});
    EXPECT_EQ(run.standardError, row.usage);
    EXPECT_EQ(run.standardOutput, "");
    EXPECT_EQ(run.exitStatus, 1);
  }
}
