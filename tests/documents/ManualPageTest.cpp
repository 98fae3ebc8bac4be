// The manual pages compared with the programs and the headers.

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <string>
#include <vector>

#include "tests/support/Shell.h"

namespace {

using Texts = std::vector<std::string>;

const Texts kPages = {"spfcheck.1",    "spf-may-send.1",     "spf-bulk.1",
                      "spf-policyd.8", "spf-policyd.conf.5", "fwk.3"};

// Returns what `script` prints in the directory of the pages.
std::string Ask(const std::string& script) {
  return OutputOf("export LC_ALL=C.UTF-8; set -o pipefail; " + script, PAGE_DIRECTORY);
}

// Returns a section of a page as plain text, in lines long enough for each message.
std::string SectionOf(const std::string& page, const std::string& heading) {
  NeedPrograms({"mandoc"});
  return Ask("mandoc -T utf8 -O width=300 " + page + " | sed 's/.\\x08//g' | awk -v heading=" +
             Quoted(heading) + " '/^[A-Z]/ { inside = $0 == heading } inside'");
}

// Returns the first group of each match of `pattern` in `text`, sorted.
Texts FindAll(const std::string& text, const std::string& pattern) {
  const std::regex regex(pattern);
  Texts found;
  for (std::sregex_iterator match(text.begin(), text.end(), regex); match != std::sregex_iterator();
       ++match) {
    found.push_back((*match)[1]);
  }
  std::sort(found.begin(), found.end());
  return found;
}

// Returns `format` as a regular expression in which each "%s" stands for a name.
std::string PatternOf(const std::string& format) {
  const std::string literal = std::regex_replace(format, std::regex("[().]"), "[$&]");
  return std::regex_replace(literal, std::regex("%s"), "[A-Za-z]+");
}

}  // namespace

TEST(ManualPageTest, MandocFindsNoFault) {
  NeedPrograms({"mandoc"});
  for (const std::string& page : kPages) {
    EXPECT_EQ(Ask("mandoc -T lint -W style " + page), "");
  }
}

// man(1) calls tbl and groff.
TEST(ManualPageTest, ManFindsNoFault) {
  NeedPrograms({"man"});
  for (const std::string& page : kPages) {
    const ChildResult result =
        RunShell("LC_ALL=C.UTF-8 man --warnings -E UTF-8 -l " + page, PAGE_DIRECTORY);
    EXPECT_EQ(result.exitStatus, 0) << page;
    EXPECT_EQ(result.standardError, "") << page;
    EXPECT_GT(result.standardOutput.size(), 2000U) << page;
  }
}

TEST(ManualPageTest, TheVersionIsThatOfTheProject) {
  NeedPrograms({"mandoc"});
  for (const std::string& page : kPages) {
    EXPECT_TRUE(
        Ask("mandoc -T utf8 " + page + " | tail -n 1").starts_with("spfcheck " PROJECT_VERSION " "))
        << page;
  }
}

TEST(ManualPageTest, EachOptionOfTheHelpIsOnThePage) {
  for (const std::string program : {"spf-may-send", "spf-bulk"}) {
    const Texts options = FindAll(
        Ask(Quoted(PROGRAM_DIRECTORY "/" + program) + " --help | grep '^ *-'"), "(--[a-z-]+)");
    EXPECT_GE(options.size(), 7U);
    std::string lines;
    for (const std::string& line : FindAll(SectionOf(program + ".1", "OPTIONS"), "\n {7}(-.*)")) {
      lines += line + "\n";
    }
    EXPECT_EQ(FindAll(lines, "(--[a-z-]+)"), options) << program;
  }
}

// The packaged file has all settings.
TEST(ManualPageTest, EachSettingOfThePolicyServiceIsOnItsPage) {
  EXPECT_EQ(
      Ask("sed -n '/^\\.SH SETTINGS/,/^\\.SH EXAMPLES/ { /^\\.TP/ { n; s/^\\.B //p } }' "
          "spf-policyd.conf.5"),
      OutputOf("sed -n 's/^#\\([a-z_]*\\)=.*/\\1/p' packaging/spf-policyd.conf", PROJECT_ROOT));
}

TEST(ManualPageTest, EachOutcomeOfATermIsOnThePageOfSpfMaySend) {
  const std::string source =
      OutputOf("awk '/^const char\\* DescribeOutcome/, /^}/' programs/spf-may-send/RecordTree.cpp",
               PROJECT_ROOT);
  const Texts outcomes = FindAll(source, "\"([a-z][a-z ]*)\"");
  EXPECT_EQ(outcomes.size(), 8U);
  EXPECT_EQ(
      FindAll(SectionOf("spf-may-send.1", "EXPLANATION"), "\n {1,9}([a-z]+(?: [a-z]+)?)  +[A-Z]"),
      outcomes);
}

TEST(ManualPageTest, EachTextThatTheToolPrintsIsOnItsPage) {
  const std::string page = SectionOf("spfcheck.1", "OUTPUT");
  for (const std::string text :
       {"SPFCheck::passed ",
        "SPFCheck::failed ",
        "Debug: SPFCheck::SPFCheck ip(%s), smtpFrom(%s), domain(%s)",
        "Debug: SPFCheck::SPFCheck spf record = %s",
        "Debug: SPFCheck::process: %s - not supported..",
        "Debug: SPFCheck::processA - domain::%s",
        "Debug: SPFCheck::processIP4 - domain::%s",
        "Debug: SPFCheck::processINCLUDE - domain::%s",
        "Debug: SPFCheck::processREDIRECT - domain::%s",
        "Debug: SPFCheck::checkDomain: ip::%s == ARecord::%s",
        "Warning: SPFCheck::SPFCheck deep max reached",
        "Error: SPFCheck::processINCLUDE - error domain::%s == m_domain::%s",
        "Error: SPFCheck::processREDIRECT - error domain::%s == m_domain::%s",
        "Debug: DNSSocket::DoQuery - UDPSocketTimeoutException - %s",
        "UDPSocket::SelectReadWrite - timed out (5000) while reading from the socket on () :: "
        "failed with code 110: Connection timed out",
        "Error: DNSSocket::DoQuery - StdException - %s",
        "MessageCodec::EncodeQuery - domain name too long",
        "Error: DNSSocket::DoQuery - exception - %s",
        "Error: DNSSocket::DoQuery - unknown exception",
        "Domain : %s",
        "A records :",
        "MX records :",
        "NS records :",
        "TXT records :",
        "Usage: %s <domain> <ip> <smtpFrom> <spfRecord>"}) {
    EXPECT_TRUE(std::regex_search(page, std::regex(PatternOf(text)))) << text;
  }
}

TEST(ManualPageTest, EachDifferenceFromTheStandardHasItsRow) {
  const std::string table = SectionOf("spfcheck.1", "DIFFERENCES FROM RFC 7208");
  const Texts rows = FindAll(table, "\n {0,14}([^ \n][^\n]{0,20}?)  ");
  for (const std::string row :
       {"result",   "qualifiers",  "all",           "a",        "mx",         "ip4",
        "ip6",      "ptr",         "exists",        "include",  "redirect",   "exp",
        "a/24//64", "macros %{d}", "syntax errors", "look-ups", "temperror",  "no record",
        "version",  "aliases",     "HELO",          "sender",   "IPv6 client"}) {
    EXPECT_EQ(std::count(rows.begin(), rows.end(), row), 1) << row;
  }
}

TEST(ManualPageTest, EachPublicHeaderIsOnTheLibrarysPage) {
  EXPECT_EQ(Ask("sed -n 's/^\\.I \\(\\(framework\\|tool\\)\\/.*\\.h\\)$/\\1/p' fwk.3 | sort"),
            OutputOf("grep -L '^// Internal to ' framework/*/*.h tool/*.h | sort", PROJECT_ROOT));
}
