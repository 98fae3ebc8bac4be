#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "framework/core/Exceptions.h"
#include "framework/dns/NameServer.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/FailureText.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScriptedNameServer.h"
#include "tool/RecordReport.h"

namespace {

using Texts = std::vector<std::string>;
using Zone = ScriptedNameServer::Zone;

class RecordReportTest : public testing::Test {
 protected:
  RecordReportTest() {
    dns_servers = "127.0.0.1";
    DoNotLog();
  }

  static std::string Report(const std::string& domain) {
    return CaptureLog([&] { PrintRecordReport(domain); });
  }
};

// Returns all that standard output has received.
std::string Received() {
  std::ostringstream text;
  text << std::ifstream("/proc/self/fd/1").rdbuf();
  return text.str();
}

}  // namespace

TEST_F(RecordReportTest, ADomainWithoutRecordsGivesFiveLines) {
  const ScriptedNameServer server(Zone{});
  EXPECT_EQ(Report("example.org"),
            "Domain : example.org\n"
            "A records : \n"
            "MX records : \n"
            "NS records : \n"
            "TXT records : \n");
}

TEST_F(RecordReportTest, RecordsAreIndentedUnderTheirHeaderInTheOrderOfTheReplyWithDuplicates) {
  const ScriptedNameServer server(Zone{{"A example.org", {"192.0.2.2", "192.0.2.1"}},
                                       {"15 example.org", {"mail.example.org"}},
                                       {"NS example.org", {"ns2.test", "ns1.test", "ns2.test"}},
                                       {"TXT example.org", {"text", "v=spf1 -all"}}});
  EXPECT_EQ(Report("example.org"),
            "Domain : example.org\n"
            "A records : \n"
            "\t192.0.2.2\n"
            "\t192.0.2.1\n"
            "MX records : \n"
            "NS records : \n"
            "\tns2.test\n"
            "\tns1.test\n"
            "\tns2.test\n"
            "TXT records : \n"
            "\ttext\n"
            "\tv=spf1 -all\n");
}

TEST_F(RecordReportTest, AddressesThenNameServersThenTextsAreAskedForOnceEach) {
  const ScriptedNameServer server(Zone{{"TXT example.org", {"v=spf1 -all"}}});
  Report("example.org");
  EXPECT_EQ(server.Questions(), (Texts{"A example.org", "NS example.org", "TXT example.org"}));
}

TEST_F(RecordReportTest, EachHeaderIsPrintedBeforeItsLookUpStarts) {
  Texts received;
  {
    const ScriptedNameServer server([&](const Bytes& query) {
      received.push_back(Received());
      return Datagrams{ReplyBuilder(query).Build()};
    });
    Report("example.org");
  }
  const std::string addresses = "Domain : example.org\nA records : \n";
  const std::string nameServers = addresses + "MX records : \nNS records : \n";
  EXPECT_EQ(received, (Texts{addresses, nameServers, nameServers + "TXT records : \n"}));
}

TEST_F(RecordReportTest, TheEmptyDomainHasAReportToo) {
  const ScriptedNameServer server(Zone{{"NS ", {"a.root.test"}}});
  EXPECT_EQ(Report(""),
            "Domain : \n"
            "A records : \n"
            "MX records : \n"
            "NS records : \n"
            "\ta.root.test\n"
            "TXT records : \n");
  EXPECT_EQ(server.Questions(), (Texts{"A ", "NS ", "TXT "}));
}

TEST_F(RecordReportTest, TheDomainIsPrintedAsGivenAndAskedForCleaned) {
  const ScriptedNameServer server(Zone{});
  EXPECT_EQ(Report("%s Exa\x01mple.org "),
            "Domain : %s Exa\x01mple.org \n"
            "A records : \n"
            "MX records : \n"
            "NS records : \n"
            "TXT records : \n");
  EXPECT_EQ(server.Questions().front(), "A %s Example.org ");
}

TEST_F(RecordReportTest, EntriesAreNotFormats) {
  const ScriptedNameServer server(Zone{{"TXT example.org", {"100%s %n"}}});
  EXPECT_EQ(Report("example.org"),
            "Domain : example.org\n"
            "A records : \n"
            "MX records : \n"
            "NS records : \n"
            "TXT records : \n"
            "\t100%s %n\n");
}

TEST_F(RecordReportTest, AFailedLookUpGivesAnEmptySectionWithItsLogLineAfterTheHeader) {
  const std::string domain(1100, 'a');  // too long for a query
  const std::string line =
      "Error: DNSSocket::DoQuery - StdException - "
      "MessageCodec::EncodeQuery - domain name too long\n";
  EXPECT_EQ(Report(domain), "Domain : " + domain + "\nA records : \n" + line + "MX records : \n" +
                                "NS records : \n" + line + "TXT records : \n" + line);
}

TEST_F(RecordReportTest, TheHeaderIsPrintedBeforeAnExceptionOfTheLookUpLeaves) {
  dns_servers = "0.0.0.0";
  EXPECT_EQ(CaptureLog([] {
              EXPECT_EQ(FailureText<UDPSocketException>([] { PrintRecordReport("example.org"); }),
                        "UDPSocket::Connect - inet_addr() failed");
            }),
            "Domain : example.org\n"
            "A records : \n");
}

TEST_F(RecordReportTest, RecordsOfOtherTypesAppearInTheSectionOfTheQuestion) {
  const ScriptedNameServer server([](const Bytes& query) {
    return Datagrams{ReplyBuilder(query).A("192.0.2.1").TXT({"text"}).Build()};
  });
  EXPECT_EQ(Report("example.org"),
            "Domain : example.org\n"
            "A records : \n"
            "\t192.0.2.1\n"
            "\ttext\n"
            "MX records : \n"
            "NS records : \n"
            "\t192.0.2.1\n"
            "\ttext\n"
            "TXT records : \n"
            "\t192.0.2.1\n"
            "\ttext\n");
}
