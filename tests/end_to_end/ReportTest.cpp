// The record report of domains that real name servers serve.

#include <gtest/gtest.h>

#include "tests/end_to_end/ServerTable.h"

namespace {

class ReportTest : public ServerTableTest {};

const Row kRows[] = {
    {"AFullDomainShowsAllSectionsWithoutItsMailExchanger",
     {"example.org"},
     "",
     Report("example.org", {"192.0.2.25", "192.0.2.26"}, {"ns1.example.org", "ns2.example.org"},
            {"v=spf1 a -all", "contact=hostmaster"})},
    {"ADomainWithoutRecordsGivesFiveLines",
     {"empty.example.org"},
     "",
     Report("empty.example.org", {}, {}, {})},
    {"ADomainThatDoesNotExistGivesFiveLines",
     {"no-such-name.example.org"},
     "",
     Report("no-such-name.example.org", {}, {}, {})},
    {"TheAddressOfAnAliasIsNotFound",
     {"alias.example.org"},
     "",
     Report("alias.example.org", {}, {}, {})},
    {"ATrailingDotOfTheDomainChangesOnlyTheFirstLine",
     {"hosts.example.org."},
     "",
     Report("hosts.example.org.", {"192.0.2.31", "192.0.2.32"}, {}, {})},
    {"AnUpperCaseNameInTheZoneIsFoundInLowerCase",
     {"capitals.replies.test"},
     "",
     Report("capitals.replies.test", {"192.0.2.61"}, {}, {"v=spf1 a:HOSTS.Example.ORG -all"})},
    {"AReplyOf512BytesIsWhole",
     {"fits.replies.test"},
     "",
     Report("fits.replies.test", {}, {}, {std::string(255, 'x') + std::string(208, 'y')})},
    {"AReplyOf513BytesIsTruncatedAndEmpty",
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
