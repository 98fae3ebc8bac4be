// The record report of domains that a real name server serves.

#include <gtest/gtest.h>

#include "tests/end_to_end/NsdServer.h"
#include "tests/end_to_end/ToolRun.h"
#include "tests/support/PrivateNetwork.h"

namespace {

constexpr char kFullReport[] =
    "Domain : example.org\n"
    "A records : \n"
    "\t192.0.2.25\n"
    "\t192.0.2.26\n"
    "MX records : \n"
    "NS records : \n"
    "\tns1.example.org\n"
    "\tns2.example.org\n"
    "TXT records : \n"
    "\tv=spf1 a -all\n"
    "\tcontact=hostmaster\n";

class ReportTest : public testing::Test {
 protected:
  ReportTest() { SetResolverFile("nameserver 127.0.0.1\n"); }

  // The report is all that the program prints, and it logs nothing.
  static void ExpectReport(const std::vector<std::string>& arguments, const std::string& report) {
    ExpectRun(arguments, {.standardOutput = report, .standardError = "", .log = ""});
  }

 private:
  NsdServer m_server;
};

}  // namespace

TEST_F(ReportTest, AFullDomainShowsAllSectionsWithoutItsMailExchanger) {
  ExpectReport({"example.org"}, kFullReport);
}

TEST_F(ReportTest, ADomainWithoutRecordsIsFiveLines) {
  ExpectReport({"empty.example.org"},
               "Domain : empty.example.org\n"
               "A records : \n"
               "MX records : \n"
               "NS records : \n"
               "TXT records : \n");
}

TEST_F(ReportTest, ADomainThatDoesNotExistIsFiveLines) {
  ExpectReport({"no-such-name.example.org"},
               "Domain : no-such-name.example.org\n"
               "A records : \n"
               "MX records : \n"
               "NS records : \n"
               "TXT records : \n");
}

TEST_F(ReportTest, AnEmptyAddressGivesTheReportEvenWithFourArguments) {
  ExpectReport({"example.org", "", "someone@example.net", "v=spf1 ip4:192.0.2.1 -all"},
               kFullReport);
}

TEST_F(ReportTest, AnAddressBehindAnAliasIsNotFound) {
  ExpectReport({"alias.example.org"},
               "Domain : alias.example.org\n"
               "A records : \n"
               "MX records : \n"
               "NS records : \n"
               "TXT records : \n");
}

TEST_F(ReportTest, ATrailingDotOfTheDomainChangesTheFirstLineOnly) {
  ExpectReport({"hosts.example.org."},
               "Domain : hosts.example.org.\n"
               "A records : \n"
               "\t192.0.2.31\n"
               "\t192.0.2.32\n"
               "MX records : \n"
               "NS records : \n"
               "TXT records : \n");
}
