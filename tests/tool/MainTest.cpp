#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "framework/config/Config.h"
#include "framework/core/Exceptions.h"
#include "framework/dns/NameServer.h"
#include "framework/logging/Logger.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScriptedNameServer.h"
#include "tests/support/TemporaryDirectory.h"

// The program's main(), renamed by the build.
int spfcheck_main(int argc, char* argv[]);

namespace {

using Texts = std::vector<std::string>;
using Zone = ScriptedNameServer::Zone;

struct Result {
  int status = -1;
  std::string standardOutput;
  std::string standardError;
};

// Each test has its own working directory, where the log file goes.
class MainTest : public testing::Test {
 protected:
  MainTest() {
    dns_servers = "127.0.0.1";
    fwk::Logger::m_bToFile = true;
    fwk::Logger::m_bToConsole = false;
    fwk::Logger::m_bSyslog = false;
    fwk::Logger::m_bIncludeLogLevel = true;
    std::filesystem::current_path(m_directory.Path());
  }

  ~MainTest() override { std::filesystem::current_path(m_before); }

  // Calls main() with `arguments`, of which the first is the program's name.
  static int Call(Texts arguments) {
    std::vector<char*> words;
    for (std::string& argument : arguments) {
      words.push_back(argument.data());
    }
    words.push_back(nullptr);
    return spfcheck_main(static_cast<int>(arguments.size()), words.data());
  }

  static Result Run(const Texts& arguments) {
    Result result;
    testing::internal::CaptureStderr();
    result.standardOutput = CaptureOutput([&] { result.status = Call(arguments); });
    result.standardError = testing::internal::GetCapturedStderr();
    return result;
  }

  // Returns the questions that a run with `arguments` asks.
  static Texts QuestionsOf(const Texts& arguments, const Zone& zone = {}) {
    const ScriptedNameServer server(zone);
    EXPECT_EQ(Run(arguments).status, 0);
    return server.Questions();
  }

  std::string LogFile() const { return m_directory.Read("log.txtcurrent.log"); }

 private:
  std::filesystem::path m_before = std::filesystem::current_path();
  TemporaryDirectory m_directory;
};

std::string EmptyReport(const std::string& domain) {
  return "Domain : " + domain +
         "\n"
         "A records : \n"
         "MX records : \n"
         "NS records : \n"
         "TXT records : \n";
}

std::string BeginOfCheck(const std::string& sender, const std::string& record) {
  return "Debug: SPFCheck::SPFCheck ip(192.0.2.1), smtpFrom(" + sender +
         "), domain(example.org)\nDebug: SPFCheck::SPFCheck spf record = " + record + "\n";
}

const Texts kReportQuestions = {"A example.org", "NS example.org", "TXT example.org"};

}  // namespace

TEST_F(MainTest, WithoutArgumentsTheUsageGoesToStandardErrorWithStatus1) {
  const ScriptedNameServer server(Zone{});
  const Result result = Run({"./some path/%s-program"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.standardOutput, "");
  EXPECT_EQ(result.standardError,
            "Usage: ./some path/%s-program <domain> <ip> <smtpFrom> <spfRecord>\n");
  EXPECT_EQ(server.Queries(), Datagrams{});
}

TEST_F(MainTest, AnEmptyProgramNameIsPrintedEmpty) {
  EXPECT_EQ(Run({""}).standardError, "Usage:  <domain> <ip> <smtpFrom> <spfRecord>\n");
}

TEST_F(MainTest, WithoutAProgramNameTheUsageEndsBeforeIt) {
  const Result result = Run({});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.standardOutput, "");
  EXPECT_EQ(result.standardError, "Usage: ");
}

TEST_F(MainTest, OneArgumentIsADomainToReport) {
  const ScriptedNameServer server(Zone{{"A example.org", {"192.0.2.1"}}});
  const Result result = Run({"spfcheck", "example.org"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.standardOutput,
            "Domain : example.org\n"
            "A records : \n"
            "\t192.0.2.1\n"
            "MX records : \n"
            "NS records : \n"
            "TXT records : \n");
  EXPECT_EQ(result.standardError, "");
  EXPECT_EQ(server.Questions(), kReportQuestions);
}

TEST_F(MainTest, AnOptionIsADomainLikeAnyOther) {
  const ScriptedNameServer server(Zone{});
  const Result result = Run({"spfcheck", "--help"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.standardOutput, EmptyReport("--help"));
}

TEST_F(MainTest, AnEmptyAddressAsksForAReportWhateverFollows) {
  for (const Texts& arguments :
       {Texts{"spfcheck", "example.org", ""}, Texts{"spfcheck", "example.org", "", "x@d.test"},
        Texts{"spfcheck", "example.org", "", "x@d.test", "v=spf1 ip4:192.0.2.1"}}) {
    const ScriptedNameServer server(Zone{});
    const Result result = Run(arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.standardOutput, EmptyReport("example.org"));
    EXPECT_EQ(server.Questions(), kReportQuestions);
  }
}

TEST_F(MainTest, MoreThanFourArgumentsGiveTheReportOfTheEmptyDomain) {
  for (const Texts& arguments :
       {Texts{"spfcheck", "example.org", "192.0.2.1", "x@d.test", "v=spf1 -all", "more"},
        Texts{"spfcheck", "example.org", "192.0.2.1", "", "", "", "", ""}}) {
    const ScriptedNameServer server(Zone{});
    const Result result = Run(arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.standardOutput, EmptyReport(""));
    EXPECT_EQ(result.standardError, "");
    EXPECT_EQ(server.Questions(), (Texts{"A ", "NS ", "TXT "}));
  }
}

TEST_F(MainTest, AnEmptyDomainIsReportedToo) {
  EXPECT_EQ(QuestionsOf({"spfcheck", ""}), (Texts{"A ", "NS ", "TXT "}));
}

TEST_F(MainTest, TwoArgumentsCheckThePublishedRecordForAnEmptySender) {
  const ScriptedNameServer server(Zone{{"TXT example.org", {"v=spf1 ip4:192.0.2.1"}}});
  const Result result = Run({"spfcheck", "example.org", "192.0.2.1"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.standardOutput, BeginOfCheck("", "v=spf1 ip4:192.0.2.1") +
                                       "Debug: SPFCheck::processIP4 - domain::192.0.2.1\n"
                                       "SPFCheck::passed \n");
  EXPECT_EQ(result.standardError, "");
  EXPECT_EQ(server.Questions(), (Texts{"TXT example.org"}));
}

TEST_F(MainTest, EitherVerdictIsALineThatEndsWithABlankAndGivesStatus0) {
  const Result failed = Run({"spfcheck", "example.org", "192.0.2.1", "", "v=spf1"});
  EXPECT_EQ(failed.status, 0);
  EXPECT_EQ(failed.standardOutput, BeginOfCheck("", "v=spf1") + "SPFCheck::failed \n");
  const Result passed = Run({"spfcheck", "example.org", "192.0.2.1", "", "ip4:192.0.2.1"});
  EXPECT_EQ(passed.status, 0);
  EXPECT_EQ(passed.standardOutput,
            BeginOfCheck("", "ip4:192.0.2.1") +
                "Debug: SPFCheck::processIP4 - domain::192.0.2.1\nSPFCheck::passed \n");
}

TEST_F(MainTest, TheThirdArgumentIsTheSender) {
  const ScriptedNameServer server(Zone{{"TXT d.test", {"v=spf1 -all"}}});
  const Result result = Run({"spfcheck", "example.org", "192.0.2.1", "<x@d.test>"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.standardOutput,
            BeginOfCheck("<x@d.test>", "v=spf1 -all") + "SPFCheck::failed \n");
  EXPECT_EQ(server.Questions(), (Texts{"TXT d.test"}));
}

TEST_F(MainTest, TheFourthArgumentIsTheRecord) {
  const ScriptedNameServer server(Zone{});
  const Result result = Run({"spfcheck", "example.org", "192.0.2.1", "", "v=spf1 ip4:192.0.2.1"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.standardOutput, BeginOfCheck("", "v=spf1 ip4:192.0.2.1") +
                                       "Debug: SPFCheck::processIP4 - domain::192.0.2.1\n"
                                       "SPFCheck::passed \n");
  EXPECT_EQ(server.Queries(), Datagrams{});
}

TEST_F(MainTest, AnEmptyFourthArgumentMeansThePublishedRecord) {
  EXPECT_EQ(QuestionsOf({"spfcheck", "example.org", "192.0.2.1", "", ""}),
            (Texts{"TXT example.org"}));
}

TEST_F(MainTest, ArgumentsAreTakenWholeWithoutTrimmingOrChangeOfCase) {
  const ScriptedNameServer server(Zone{});
  const Result result =
      Run({"spfcheck", " Example.ORG ", " ", "\t<X@D.Test> ", " V=SPF1 IP4:192.0.2.1 "});
  EXPECT_EQ(result.standardOutput,
            "Debug: SPFCheck::SPFCheck ip( ), smtpFrom(\t<X@D.Test> ), domain( Example.ORG )\n"
            "Debug: SPFCheck::SPFCheck spf record =  V=SPF1 IP4:192.0.2.1 \n"
            "Debug: SPFCheck::process: V=SPF1 - not supported..\n"
            "Debug: SPFCheck::process: IP4:192.0.2.1 - not supported..\n"
            "SPFCheck::failed \n");
}

TEST_F(MainTest, TheCheckBeginsAtDepth0) {
  std::string record = "v=spf1";
  for (int i = 0; i < 11; ++i) {
    record.append(" include:d").append(std::to_string(i)).append(".test");
  }
  EXPECT_EQ(QuestionsOf({"spfcheck", "example.org", "192.0.2.1", "", record}).size(), 10U);
}

TEST_F(MainTest, AnExceptionLeavesMainWithoutAVerdict) {
  const ScriptedNameServer server(Zone{});
  const std::string out = CaptureOutput([] {
    EXPECT_THROW(Call({"spfcheck", "example.org", "192.0.2.1", "", "v=spf1 ip4"}),
                 std::out_of_range);
  });
  EXPECT_EQ(out, BeginOfCheck("", "v=spf1 ip4"));
}

TEST_F(MainTest, AnExceptionLeavesTheReportToo) {
  dns_servers = "0.0.0.0";
  const std::string out = CaptureOutput([] {
    EXPECT_THROW(Call({"spfcheck", "example.org"}), UDPSocketException);
  });
  EXPECT_EQ(out,
            "Domain : example.org\n"
            "A records : \n");
}

TEST_F(MainTest, EachRunSetsTheLoggerUp) {
  fwk::Logger::Init("elsewhere", fwk::Error, true, true);
  Run({"spfcheck"});
  EXPECT_EQ(fwk::Logger::m_sLogFileLocation, "log.txt");
  EXPECT_EQ(fwk::Logger::m_LogLevel, 1);
  EXPECT_FALSE(fwk::Logger::m_bIncludeDateTime);
  EXPECT_FALSE(fwk::Logger::m_bIncludeThreadID);
  EXPECT_TRUE(fwk::Logger::m_bToConsole);
}

TEST_F(MainTest, LogLinesButNotTheVerdictGoToAFileInTheWorkingDirectory) {
  const ScriptedNameServer server(Zone{});
  Run({"spfcheck", "example.org", "192.0.2.1", "", "v=spf1 x -all"});
  EXPECT_EQ(LogFile(),
            BeginOfCheck("", "v=spf1 x -all") + "Debug: SPFCheck::process: x - not supported..\n");
}

TEST_F(MainTest, TheUsageWritesNoLogFile) {
  Run({"spfcheck"});
  EXPECT_FALSE(std::filesystem::exists("log.txtcurrent.log"));
}

TEST_F(MainTest, TheLoggingThreadIsNotStarted) {
  bool queued = true;
  {
    const ScriptedNameServer server([&queued](const Bytes& query) {
      queued = fwk::Logger::m_bAsync;
      return Datagrams{ReplyBuilder(query).Build()};
    });
    EXPECT_EQ(Run({"spfcheck", "example.org", "192.0.2.1"}).status, 0);
  }
  EXPECT_FALSE(queued);
}

TEST_F(MainTest, NoConfigurationFileIsRead) {
  using Entries = std::map<std::string, std::string>;
  const ScriptedNameServer server(Zone{});
  SetResolverFile("");
  dns_servers.clear();
  Config::m_config = {{"dns_server", "127.0.0.1"}};
  EXPECT_EQ(Run({"spfcheck", "example.org"}).status, 0);
  EXPECT_EQ(server.Questions(), kReportQuestions);
  EXPECT_EQ(Config::m_config, (Entries{{"dns_server", "127.0.0.1"}}));
  Config::m_config.clear();
}
