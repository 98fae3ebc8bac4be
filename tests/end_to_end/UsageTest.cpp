// What the program says without arguments, and with too many.

#include <gtest/gtest.h>

#include "tests/end_to_end/ToolRun.h"
#include "tests/support/RealNameServer.h"

namespace {

constexpr char kReportOfTheEmptyDomain[] =
    "Domain : \nA records : \nMX records : \nNS records : \nTXT records : \n";

}  // namespace

TEST(UsageTest, NoArgumentPrintsTheUsageOnStandardErrorAndEndsWithStatusOne) {
  ExpectRun({}, {.standardOutput = "",
                 .standardError = "Usage: spfcheck <domain> <ip> <smtpFrom> <spfRecord>\n",
                 .log = "",
                 .status = 1});
}

TEST(UsageTest, AnOptionIsADomainLikeAnyOther) {
  const RealNameServer server(Server::kNsd);
  ExpectRun({"--help"},
            {.standardOutput = "Domain : --help\nA records : \nMX records : \nNS records : \n"
                               "TXT records : \n",
             .standardError = "",
             .log = ""});
}

TEST(UsageTest, FiveArgumentsAreTooManyAndGiveTheReportOfTheEmptyDomain) {
  const RealNameServer server(Server::kNsd);
  ExpectRun({"example.org", "192.0.2.1", "", "v=spf1", "more"},
            {.standardOutput = kReportOfTheEmptyDomain, .standardError = "", .log = ""});
}

TEST(UsageTest, SixArgumentsGiveTheReportOfTheEmptyDomain) {
  const RealNameServer server(Server::kNsd);
  ExpectRun({"example.org", "192.0.2.1", "", "v=spf1", "more", "still more"},
            {.standardOutput = kReportOfTheEmptyDomain, .standardError = "", .log = ""});
}
