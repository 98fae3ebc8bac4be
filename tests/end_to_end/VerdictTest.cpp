// The SPF check against real name servers: the complete verdict and log.

#include <gtest/gtest.h>

#include "tests/end_to_end/ServerTable.h"

namespace {

class VerdictTest : public ServerTableTest {};

const Row kRows[] = {
    {"Ip4Passes",
     {"ip4.example.org", "192.0.2.7"},
     Begin("192.0.2.7", "", "ip4.example.org", "v=spf1 ip4:192.0.2.0/24 -all") +
         "Debug: SPFCheck::processIP4 - domain::192.0.2.0/24\n",
     "SPFCheck::passed \n"},
    {"Ip4Fails",
     {"ip4.example.org", "198.51.100.7"},
     Begin("198.51.100.7", "", "ip4.example.org", "v=spf1 ip4:192.0.2.0/24 -all") +
         "Debug: SPFCheck::processIP4 - domain::192.0.2.0/24\n",
     "SPFCheck::failed \n"},
    {"APasses",
     {"a.example.org", "192.0.2.10"},
     Begin("192.0.2.10", "", "a.example.org", "v=spf1 a -all") +
         "Debug: SPFCheck::processA - domain::a.example.org\n"
         "Debug: SPFCheck::checkDomain: ip::192.0.2.10 == ARecord::192.0.2.10\n",
     "SPFCheck::passed \n"},
    {"ATargetPassesByItsSecondAddress",
     {"a-target.example.org", "192.0.2.32"},
     Begin("192.0.2.32", "", "a-target.example.org", "v=spf1 a:hosts.example.org -all") +
         "Debug: SPFCheck::processA - domain::hosts.example.org\n"
         "Debug: SPFCheck::checkDomain: ip::192.0.2.32 == ARecord::192.0.2.31\n"
         "Debug: SPFCheck::checkDomain: ip::192.0.2.32 == ARecord::192.0.2.32\n",
     "SPFCheck::passed \n"},
    {"ATargetThatIsAnAliasFails",
     {"a-alias.example.org", "192.0.2.31"},
     Begin("192.0.2.31", "", "a-alias.example.org", "v=spf1 a:alias.example.org -all") +
         "Debug: SPFCheck::processA - domain::alias.example.org\n",
     "SPFCheck::failed \n"},
    {"ARangePassesAtItsUnmaskedEnd",
     {"a-range.example.org", "192.0.3.9"},
     Begin("192.0.3.9", "", "a-range.example.org", "v=spf1 a/24 -all") +
         "Debug: SPFCheck::processA - domain::a-range.example.org\n"
         "Debug: SPFCheck::checkDomain: ip::192.0.3.9 == ARecord::192.0.2.10/24\n",
     "SPFCheck::passed \n"},
    {"MxFailsForTheMailExchanger",
     {"mx.example.org", "192.0.2.25"},
     Begin("192.0.2.25", "", "mx.example.org", "v=spf1 mx -all"),
     "SPFCheck::failed \n"},
    {"IncludePasses",
     {"include.example.org", "192.0.2.7"},
     Begin("192.0.2.7", "", "include.example.org", "v=spf1 include:ip4.example.org -all") +
         "Debug: SPFCheck::processINCLUDE - domain::ip4.example.org\n" +
         Begin("192.0.2.7", "", "ip4.example.org", "v=spf1 ip4:192.0.2.0/24 -all") +
         "Debug: SPFCheck::processIP4 - domain::192.0.2.0/24\n",
     "SPFCheck::passed \n"},
    {"RedirectPasses",
     {"redirect.example.org", "192.0.2.7"},
     Begin("192.0.2.7", "", "redirect.example.org", "v=spf1 redirect=ip4.example.org") +
         "Debug: SPFCheck::processREDIRECT - domain::ip4.example.org\n" +
         Begin("192.0.2.7", "", "ip4.example.org", "v=spf1 ip4:192.0.2.0/24 -all") +
         "Debug: SPFCheck::processIP4 - domain::192.0.2.0/24\n",
     "SPFCheck::passed \n"},
    {"ARedirectThatFailsLetsTheNextTermDecide",
     {"next.example.org", "192.0.2.1"},
     Begin("192.0.2.1", "", "next.example.org", "v=spf1 redirect=empty.example.org ip4:192.0.2.1") +
         "Debug: SPFCheck::processREDIRECT - domain::empty.example.org\n" +
         Begin("192.0.2.1", "", "empty.example.org", "") +
         "Debug: SPFCheck::processIP4 - domain::192.0.2.1\n",
     "SPFCheck::passed \n"},
    {"ADomainWithoutARecordFails",
     {"no-spf.example.org", "192.0.2.1"},
     Begin("192.0.2.1", "", "no-spf.example.org", ""),
     "SPFCheck::failed \n"},
    {"TheSenderInAngleBracketsReplacesTheDomain",
     {"no-spf.example.org", "192.0.2.7", "<someone@ip4.example.org>"},
     Begin("192.0.2.7", "<someone@ip4.example.org>", "no-spf.example.org",
           "v=spf1 ip4:192.0.2.0/24 -all") +
         "Debug: SPFCheck::processIP4 - domain::192.0.2.0/24\n",
     "SPFCheck::passed \n"},
    {"AnUpperCaseDomainIsAskedForAndPrintedAsGiven",
     {"IP4.Example.ORG", "192.0.2.7"},
     Begin("192.0.2.7", "", "IP4.Example.ORG", "v=spf1 ip4:192.0.2.0/24 -all") +
         "Debug: SPFCheck::processIP4 - domain::192.0.2.0/24\n",
     "SPFCheck::passed \n"},
    {"AnUpperCaseTargetOfATermIsFound",
     {"capitals.replies.test", "192.0.2.32"},
     Begin("192.0.2.32", "", "capitals.replies.test", "v=spf1 a:HOSTS.Example.ORG -all") +
         "Debug: SPFCheck::processA - domain::HOSTS.Example.ORG\n"
         "Debug: SPFCheck::checkDomain: ip::192.0.2.32 == ARecord::192.0.2.31\n"
         "Debug: SPFCheck::checkDomain: ip::192.0.2.32 == ARecord::192.0.2.32\n",
     "SPFCheck::passed \n"},
    {"ARecordInTwoStringsIsReadAsOne",
     {"split.replies.test", "192.0.2.1"},
     Begin("192.0.2.1", "", "split.replies.test", "v=spf1 ip4:192.0.2.1 -all") +
         "Debug: SPFCheck::processIP4 - domain::192.0.2.1\n",
     "SPFCheck::passed \n"},
    {"TheLengthByteOfASecondStringOf50BytesIsTheDigit2",
     {"split-50.replies.test", "192.0.2.21"},
     Begin("192.0.2.21", "", "split-50.replies.test",
           "v=spf1 ip4:192.0.2.21 ip4:198.51.100.101 ip4:198.51.100.102 a ptr -all") +
         "Debug: SPFCheck::processIP4 - domain::192.0.2.21\n",
     "SPFCheck::passed \n"},
};

}  // namespace

TEST_P(VerdictTest, FollowsFromTheRecord) {
  ExpectRow();
}

INSTANTIATE_TEST_SUITE_P(named, VerdictTest, RowsAgainst(Server::kNamed, kRows), RowName);
INSTANTIATE_TEST_SUITE_P(nsd, VerdictTest, RowsAgainst(Server::kNsd, kRows), RowName);
INSTANTIATE_TEST_SUITE_P(unbound, VerdictTest, RowsAgainst(Server::kUnbound, kRows), RowName);
