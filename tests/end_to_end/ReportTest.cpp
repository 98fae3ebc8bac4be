// The record report of domains that real name servers serve.

#include <gtest/gtest.h>

#include "tests/end_to_end/ServerTable.h"

namespace {

class ReportTest : public ServerTableTest {};

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

const Row kRows[] = {
    {"AFullDomainShowsAllSectionsWithoutItsMailExchanger", {"example.org"}, "", kFullReport},
    {"ADomainWithoutRecordsIsFiveLines",
     {"empty.example.org"},
     "",
     Report("empty.example.org", {}, {}, {})},
    {"ADomainThatDoesNotExistIsFiveLines",
     {"no-such-name.example.org"},
     "",
     Report("no-such-name.example.org", {}, {}, {})},
    {"AnEmptyAddressGivesTheReportEvenWithFourArguments",
     {"example.org", "", "someone@example.net", "v=spf1 ip4:192.0.2.1 -all"},
     "",
     kFullReport},
    {"AnAddressBehindAnAliasIsNotFound",
     {"alias.example.org"},
     "",
     Report("alias.example.org", {}, {}, {})},
    {"ATrailingDotOfTheDomainChangesTheFirstLineOnly",
     {"hosts.example.org."},
     "",
     Report("hosts.example.org.", {"192.0.2.31", "192.0.2.32"}, {}, {})},
    {"ANameInCapitalsInTheZoneIsFoundInSmallLetters",
     {"capitals.replies.test"},
     "",
     Report("capitals.replies.test", {"192.0.2.61"}, {}, {"v=spf1 a:HOSTS.Example.ORG -all"})},
    {"AReplyOf512BytesIsWhole",
     {"fits.replies.test"},
     "",
     Report("fits.replies.test", {}, {}, {std::string(255, 'x') + std::string(208, 'y')})},
    {"AReplyOf513BytesComesTruncatedAndEmpty",
     {"over.replies.test"},
     "",
     Report("over.replies.test", {}, {}, {})},
};

}  // namespace

TEST_P(ReportTest, ShowsWhatTheServerSays) {
  ExpectRow();
}

INSTANTIATE_TEST_SUITE_P(named, ReportTest, RowsAgainst(Server::kNamed, kRows), RowName);
INSTANTIATE_TEST_SUITE_P(nsd, ReportTest, RowsAgainst(Server::kNsd, kRows), RowName);
INSTANTIATE_TEST_SUITE_P(unbound, ReportTest, RowsAgainst(Server::kUnbound, kRows), RowName);
