// Replies that each server writes in its own way: the order of records, the case of names, the
// records after the answers, and records that do not fit.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/end_to_end/ServerTable.h"

namespace {

using Rows = std::vector<Row>;

class ReplyShapeTest : public ServerTableTest {};

Rows With(Rows rows, const Row& row) {
  rows.push_back(row);
  return rows;
}

// Returns the first texts of large.replies.test.
std::vector<std::string> FirstOfLargeSet(int count) {
  std::vector<std::string> texts;
  for (int i = 0; i < count; ++i) {
    texts.push_back("0" + std::to_string(i) + " " + std::string(97, 'x'));
  }
  return texts;
}

// Returns the log of a check of 192.0.2.7 whose policy, the last one, names `address`.
std::string CheckOfTwo(const std::string& address) {
  return Begin("192.0.2.7", "", "two.replies.test", "v=spf1 ip4:" + address + " -all") +
         "Debug: SPFCheck::processIP4 - domain::" + address + "\n";
}

// Returns the log of a check of 192.0.2.81 whose policy is read with `address`.
std::string CheckOfLongLabel(const std::string& address) {
  return Begin("192.0.2.81", "", "with-a-long-first-label.replies.test", "v=spf1 ip4:" + address) +
         "Debug: SPFCheck::processIP4 - domain::" + address + "\n";
}

const Rows kNsdAndUnboundRows = {
    {"TextsKeepTheOrderOfTheZoneSoTheSecondPolicyDecides",
     {"two.replies.test", "192.0.2.7"},
     CheckOfTwo("192.0.2.7"),
     "SPFCheck::passed \n"},
    {"NamesAreInLowerCase",
     {"replies.test"},
     "",
     Report("replies.test", {}, {"ns.replies.test", "ns.example.org"}, {})},
    {"NamesEndWithAPointerToTheQuestionSoTheyTakeItsCase",
     {"REPLIES.TEST"},
     "",
     Report("REPLIES.TEST", {}, {"ns.REPLIES.TEST", "ns.example.org"}, {})},
    {"OwnersPointToTheQuestionWhateverItsCaseSoTextsAreWhole",
     {"TWO.REPLIES.TEST"},
     "",
     Report("TWO.REPLIES.TEST", {}, {},
            {"v=spf1 ip4:192.0.2.71 -all", "v=spf1 ip4:192.0.2.7 -all"})},
    {"AfterAnAliasTheWalkIsOutOfStepAndFindsPartOfTheSecondText",
     {"alias.replies.test"},
     "",
     Report("alias.replies.test", {"48.0.1.0"}, {}, {"one0"})},
    {"ASetTooLargeForAReplyIsLeftOut",
     {"large.replies.test"},
     "",
     Report("large.replies.test", {}, {}, {})},
};

const Row kNsdRow = {"APointerOfTheAuthoritySectionEndsWithADollarSignThatTheTextIncludes",
                     {"with-a-long-first-label.replies.test", "192.0.2.81"},
                     CheckOfLongLabel("192.0.2.81$"),
                     "SPFCheck::failed \n"};

const Row kUnboundRow = {"NothingFollowsTheAnswersSoTheTextIsExact",
                         {"with-a-long-first-label.replies.test", "192.0.2.81"},
                         CheckOfLongLabel("192.0.2.81"),
                         "SPFCheck::passed \n"};

const Rows kNamedRows = {
    {"TextsAreSortedSoTheFirstPolicyDecides",
     {"two.replies.test", "192.0.2.7"},
     CheckOfTwo("192.0.2.71"),
     "SPFCheck::failed \n"},
    {"NothingFollowsTheAnswersSoTheTextIsExact",
     {"with-a-long-first-label.replies.test", "192.0.2.81"},
     CheckOfLongLabel("192.0.2.81"),
     "SPFCheck::passed \n"},
    {"NamesKeepTheCaseOfTheZoneAndAreSorted",
     {"replies.test"},
     "",
     Report("replies.test", {}, {"Ns.Example.ORG", "NS.Replies.test"}, {})},
    {"NamesKeepTheCaseOfTheZoneWhateverThatOfTheQuestion",
     {"REPLIES.TEST"},
     "",
     Report("REPLIES.TEST", {}, {"Ns.Example.ORG", "NS.Replies.test"}, {})},
    {"APointerToAnOwnerInAnotherCaseEndsWithAQuoteThatTheTextBeforeItIncludes",
     {"TWO.REPLIES.TEST"},
     "",
     Report("TWO.REPLIES.TEST", {}, {},
            {"v=spf1 ip4:192.0.2.7 -all\"", "v=spf1 ip4:192.0.2.71 -all"})},
    {"AfterAnAliasTheWalkIsOutOfStepAndReadsSortedTextsAsAnAddress",
     {"alias.replies.test"},
     "",
     Report("alias.replies.test", {"48.0.1.0"}, {}, {"48.0.16.0"})},
    {"OfASetTooLargeForAReplyTheFirstFourAreSent",
     {"large.replies.test"},
     "",
     Report("large.replies.test", {}, {}, FirstOfLargeSet(4))},
};

}  // namespace

TEST_P(ReplyShapeTest, ShowsInTheOutput) {
  ExpectRow();
}

INSTANTIATE_TEST_SUITE_P(named, ReplyShapeTest, RowsAgainst(Server::kNamed, kNamedRows), RowName);
INSTANTIATE_TEST_SUITE_P(nsd, ReplyShapeTest,
                         RowsAgainst(Server::kNsd, With(kNsdAndUnboundRows, kNsdRow)), RowName);
INSTANTIATE_TEST_SUITE_P(unbound, ReplyShapeTest,
                         RowsAgainst(Server::kUnbound, With(kNsdAndUnboundRows, kUnboundRow)),
                         RowName);
