// The lines that --explain prints after the first.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "tests/spf_may_send/MaySendRun.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScriptedNameServer.h"
#include "tests/support/Text.h"

namespace {

using Texts = std::vector<std::string>;
using Zone = ScriptedNameServer::Zone;

const std::string kAllowed =
    " of the 10 terms with look-ups that other receivers allow "
    "(RFC 7208, section 4.6.4)\n";
const std::string kTooMany =
    " terms with look-ups, of which other receivers allow 10 "
    "(RFC 7208, section 4.6.4)\n";

class ExplanationTest : public MaySendTest {
 protected:
  // Returns the lines after the first, with N for each number of milliseconds, and with " of 10"
  // for kAllowed.
  static std::string Explain(Texts arguments) {
    arguments.insert(arguments.begin(), "--explain");
    MaySendRun run(arguments);
    EXPECT_EQ(run.GetErrors(), "");
    std::string tree = run.GetOutput().substr(run.GetOutput().find('\n') + 1);
    if (tree.ends_with(kAllowed)) {
      tree.replace(tree.size() - kAllowed.size(), std::string::npos, " of 10\n");
    }
    return std::regex_replace(tree, std::regex("\\([0-9]+ ms\\)"), "(N ms)");
  }

  // The same for a check of 192.0.2.7 with a given record.
  static std::string ExplainRecord(const std::string& record) {
    return Explain({"-r", record, "192.0.2.7", "example.org"});
  }
};

}  // namespace

TEST_F(ExplanationTest, EachRecordIsShownWithEachOfItsTerms) {
  const ScriptedNameServer server(
      Zone{{"TXT example.org", {"v=spf1 a mx include:_spf.test ip4:192.0.2.7 a:x.test -all"}},
           {"A example.org", {"192.0.2.25", "192.0.2.26"}},
           {"TXT _spf.test", {"v=spf1 ip4:198.51.100.0/24 ~all"}}});
  EXPECT_EQ(Explain({"192.0.2.7", "joe@example.org"}),
            "  example.org (N ms): v=spf1 a mx include:_spf.test ip4:192.0.2.7 a:x.test -all\n"
            "    no match       a\n"
            "      A example.org: 192.0.2.25, 192.0.2.26\n"
            "    not evaluated  mx\n"
            "    no match       include:_spf.test\n"
            "      _spf.test (N ms): v=spf1 ip4:198.51.100.0/24 ~all\n"
            "        no match       ip4:198.51.100.0/24\n"
            "        fails          ~all\n"
            "    matches        ip4:192.0.2.7\n"
            "    not reached    a:x.test\n"
            "    not reached    -all\n"
            "  4 of 10\n");
}

TEST_F(ExplanationTest, AMatchBelowAnIncludeIsAMatchOfTheInclude) {
  const ScriptedNameServer server(Zone{{"TXT example.org", {"v=spf1 redirect=_spf.test"}},
                                       {"TXT _spf.test", {"v=spf1 include:hosts.test -all"}},
                                       {"TXT hosts.test", {"v=spf1 a -all"}},
                                       {"A hosts.test", {"192.0.2.7"}}});
  EXPECT_EQ(Explain({"192.0.2.7", "joe@example.org"}),
            "  example.org (N ms): v=spf1 redirect=_spf.test\n"
            "    matches        redirect=_spf.test\n"
            "      _spf.test (N ms): v=spf1 include:hosts.test -all\n"
            "        matches        include:hosts.test\n"
            "          hosts.test (N ms): v=spf1 a -all\n"
            "            matches        a\n"
            "              A hosts.test: 192.0.2.7\n"
            "            not reached    -all\n"
            "        not reached    -all\n"
            "  3 of 10\n");
}

TEST_F(ExplanationTest, ATermThatIsNotEvaluatedCountsAsAPossibleMatch) {
  EXPECT_EQ(ExplainRecord("v=spf1 ?ip4:192.0.2.1 ?ip4:192.0.2.7 ip4:192.0.2.5/30 ip4:192.0.2.6/30 "
                          "IP4:192.0.2.7 ip6:2001:db8::/32 exists:%{i}.x ptr exp=x.y x=y +all"),
            "  example.org (N ms): given as v=spf1 ?ip4:192.0.2.1 ?ip4:192.0.2.7 ip4:192.0.2.5/30 "
            "ip4:192.0.2.6/30 IP4:192.0.2.7 ip6:2001:db8::/32 exists:%{i}.x ptr exp=x.y x=y +all\n"
            "    no match       ?ip4:192.0.2.1\n"
            "    not evaluated  ?ip4:192.0.2.7\n"
            "    matches        ip4:192.0.2.5/30\n"
            "    not reached    ip4:192.0.2.6/30\n"
            "    not reached    IP4:192.0.2.7\n"
            "    not reached    ip6:2001:db8::/32\n"
            "    not reached    exists:%{i}.x\n"
            "    not reached    ptr\n"
            "    not reached    exp=x.y\n"
            "    not reached    x=y\n"
            "    not reached    +all\n"
            "  2 of 10\n");
  EXPECT_EQ(ExplainRecord("v=spf1 ip4:192.0.2.8/24 IP4:192.0.2.7 ip6:2001:db8::/32 exists:%{i}.x "
                          "ptr exp=x.y x=y +all"),
            "  example.org (N ms): given as v=spf1 ip4:192.0.2.8/24 IP4:192.0.2.7 "
            "ip6:2001:db8::/32 exists:%{i}.x ptr exp=x.y x=y +all\n"
            "    not evaluated  ip4:192.0.2.8/24\n"
            "    not evaluated  IP4:192.0.2.7\n"
            "    no match       ip6:2001:db8::/32\n"
            "    not evaluated  exists:%{i}.x\n"
            "    not evaluated  ptr\n"
            "    no match       exp=x.y\n"
            "    no match       x=y\n"
            "    not evaluated  +all\n"
            "  2 of 10\n");
}

TEST_F(ExplanationTest, AMalformedTermCutsTheTermAboveItShort) {
  const ScriptedNameServer server(Zone{{"TXT _spf.test", {"v=spf1 x ip4:1/x a"}}});
  EXPECT_EQ(ExplainRecord("v=spf1 include:_spf.test -all"),
            "  example.org (N ms): given as v=spf1 include:_spf.test -all\n"
            "    cut short      include:_spf.test\n"
            "      _spf.test (N ms): v=spf1 x ip4:1/x a\n"
            "        malformed      x\n"
            "        malformed      ip4:1/x\n"
            "        not reached    a\n"
            "    not reached    -all\n"
            "  2 of 10\n");
}

TEST_F(ExplanationTest, ALimitCutsShort) {
  const ScriptedNameServer server([](const Bytes& query) {
    return query[13] == 'm' ? Datagrams{} : Datagrams{ReplyBuilder(query).A("192.0.2.1").Build()};
  });
  EXPECT_EQ(Explain({"-t", "0.3", "-r", "v=spf1 a:good.test a:mute.test a -all", "192.0.2.7",
                     "example.org"}),
            "  example.org (N ms): given as v=spf1 a:good.test a:mute.test a -all\n"
            "    no match       a:good.test\n"
            "      A good.test: 192.0.2.1\n"
            "    cut short      a:mute.test\n"
            "      A mute.test: no answer\n"
            "    not reached    a\n"
            "    not reached    -all\n"
            "  3 of 10\n");
}

TEST_F(ExplanationTest, ARecordWithoutAnAnswerIsNotRead) {
  const ScriptedNameServer server(Silence);
  EXPECT_EQ(Explain({"-t", "0.3", "192.0.2.7", "example.org"}),
            "  example.org (N ms): no answer\n");
  EXPECT_EQ(
      Explain({"-t", "0.3", "-r", "v=spf1 include:mute.test -all", "192.0.2.7", "example.org"}),
      "  example.org (N ms): given as v=spf1 include:mute.test -all\n"
      "    cut short      include:mute.test\n"
      "      mute.test (N ms): no answer\n"
      "    not reached    -all\n"
      "  at least 1 of 10\n");
}

TEST_F(ExplanationTest, FailedLookUpsAreDescribed) {
  std::atomic<std::uint16_t> flags = 0;
  const ScriptedNameServer server([&flags](const Bytes& query) {
    return Datagrams{ReplyBuilder(query).SetFlags(flags).Build()};
  });
  const std::string record = "v=spf1 a include:x.test -all";
  const auto expected = [&](const std::string& failure) {
    return "  example.org (N ms): given as " + record +
           "\n    unknown        a\n      A example.org: " + failure +
           "\n    unknown        include:x.test\n      x.test (N ms): " + failure +
           "\n    fails          -all\n  at least 2 of 10\n";
  };
  for (const auto& [value, text] :
       {std::pair{0x8181, "error code 1 (format error)"},
        std::pair{0x8182, "error code 2 (server failure)"},
        std::pair{0x8184, "error code 4 (not implemented)"},
        std::pair{0x8185, "error code 5 (refused)"}, std::pair{0x818F, "error code 15"},
        std::pair{0x8380, "truncated answer"}}) {
    flags = static_cast<std::uint16_t>(value);
    EXPECT_EQ(ExplainRecord(record), expected(text));
  }
}

TEST_F(ExplanationTest, ANameWithoutRecordsIsAnAnswer) {
  const ScriptedNameServer server(
      [](const Bytes& query) { return Datagrams{ReplyBuilder(query).SetFlags(0x8183).Build()}; });
  EXPECT_EQ(ExplainRecord("v=spf1 a include:x.test -all"),
            "  example.org (N ms): given as v=spf1 a include:x.test -all\n"
            "    no match       a\n"
            "      A example.org: no address\n"
            "    no match       include:x.test\n"
            "      x.test (N ms): no record\n"
            "    fails          -all\n"
            "  2 of 10\n");
  EXPECT_EQ(Explain({"192.0.2.7", "example.org"}), "  example.org (N ms): no record\n");
}

TEST_F(ExplanationTest, AnAliasIsNamed) {
  const ScriptedNameServer server(
      [](const Bytes& query) { return Datagrams{ReplyBuilder(query).CNAME("y.test").Build()}; });
  EXPECT_EQ(ExplainRecord("v=spf1 a:x.test -all"),
            "  example.org (N ms): given as v=spf1 a:x.test -all\n"
            "    unknown        a:x.test\n"
            "      A x.test: an alias, which is not followed\n"
            "    fails          -all\n"
            "  1 of 10\n");
}

TEST_F(ExplanationTest, TwoRecordsAndARecordThatIsMisreadAreNamed) {
  {
    const ScriptedNameServer server(
        Zone{{"TXT example.org", {"v=spf1 ip4:192.0.2.1 -all", "v=spf1 -all"}}});
    EXPECT_EQ(Explain({"192.0.2.7", "example.org"}),
              "  example.org (N ms): 2 records, the last one is v=spf1 -all\n"
              "    fails          -all\n"
              "  0 of 10\n");
  }
  const ScriptedNameServer server([](const Bytes& query) {
    return Datagrams{
        ReplyBuilder(query)
            .TXT({"v=spf1 ip4:192.0.2.1 ", "ip4:192.0.2.2 exp=explain.example.org -all"})
            .Build()};
  });
  // The "*" is 42, the length of the second string.
  EXPECT_EQ(Explain({"192.0.2.7", "example.org"}),
            "  example.org (N ms): an answer that cannot be read as it is published, taken for "
            "v=spf1 ip4:192.0.2.1 *ip4:192.0.2.2 exp=explain.example.org -all\n"
            "    no match       ip4:192.0.2.1\n"
            "    malformed      *ip4:192.0.2.2\n"
            "    no match       exp=explain.example.org\n"
            "    fails          -all\n"
            "  at least 0 of 10\n");
}

TEST_F(ExplanationTest, ARecordThatIsNotReadHasTheReason) {
  Zone zone = {{"TXT self.test", {"v=spf1 include:self.test -all"}}};
  for (int i = 0; i < 12; ++i) {
    zone["TXT c" + std::to_string(i) + ".test"] = {"v=spf1 include:c" + std::to_string(i + 1) +
                                                   ".test -all"};
  }
  const ScriptedNameServer server(zone);
  EXPECT_EQ(Explain({"192.0.2.7", "self.test"}),
            "  self.test (N ms): v=spf1 include:self.test -all\n"
            "    no match       include:self.test\n"
            "      not read, as it is the domain of this record\n"
            "    fails          -all\n"
            "  at least 1 of 10\n");
  const std::string chain = Explain({"192.0.2.7", "c0.test"});
  EXPECT_NE(chain.find("c10.test (N ms): v=spf1 include:c11.test -all\n"), std::string::npos);
  EXPECT_NE(chain.find("    c11.test (N ms): not read, nested too deep\n"), std::string::npos);
  EXPECT_NE(chain.find("\n    unknown        include:c1.test\n"), std::string::npos);
  EXPECT_EQ(LastLine(chain), "  at least 11" + kTooMany);
}

TEST_F(ExplanationTest, NothingIsShownIfNothingWasEvaluated) {
  EXPECT_EQ(Explain({"2001:db8::1", "example.org"}), "");
  EXPECT_EQ(ExplainRecord(""), "");
}

TEST_F(ExplanationTest, TheTimeOfARecordIncludesThatOfTheRecordsBelowIt) {
  const ScriptedNameServer server([](const Bytes& query) {
    std::this_thread::sleep_for(std::chrono::milliseconds(120));
    return Datagrams{
        ReplyBuilder(query).TXT({query[13] == 'e' ? "v=spf1 include:x.test" : "v=spf1"}).Build()};
  });
  MaySendRun run({"-e", "192.0.2.7", "example.org"});
  std::smatch outer;
  std::smatch inner;
  const std::string output = run.GetOutput();
  ASSERT_TRUE(std::regex_search(output, outer, std::regex("example.org \\(([0-9]+) ms\\)")));
  ASSERT_TRUE(std::regex_search(output, inner, std::regex("x.test \\(([0-9]+) ms\\)")));
  EXPECT_GE(std::stoi(inner[1]), 120);
  EXPECT_GE(std::stoi(outer[1]), std::stoi(inner[1]) + 120);
}

TEST_F(ExplanationTest, TermsAreCountedAsRFC7208Counts) {
  const ScriptedNameServer server(
      Zone{{"TXT two.test", {"v=spf1 a mx -all"}}, {"TXT empty.test", {"v=spf1 -all"}}});
  const std::pair<const char*, std::string> cases[] = {
      {"v=spf1 ip4:192.0.2.1 ip6:2001:db8::1 exp=x.test -all", "  0 of 10\n"},
      {"v=spf1 a a:x.test A mx ptr exists:x.test -all", "  6 of 10\n"},
      {"v=spf1 -a ~mx ?exists:x.test +ptr -all", "  4 of 10\n"},
      {"v=spf1 include:two.test -all", "  3 of 10\n"},
      {"v=spf1 include:two.test include:two.test -all", "  6 of 10\n"},
      {"v=spf1 redirect=two.test", "  3 of 10\n"},
      // Neither a redirect nor the terms after it count if there is an "all".
      {"v=spf1 redirect=two.test -all", "  0 of 10\n"},
      {"v=spf1 a -all mx include:two.test", "  1 of 10\n"},
      {"v=spf1 redirect=two.test a", "  4 of 10\n"},
      // The terms of a record that is not read are not known.
      {"v=spf1 -include:two.test -all", "  at least 1 of 10\n"},
      {"v=spf1 include:%{d} -all", "  at least 1 of 10\n"},
      {"v=spf1 ip4:192.0.2.7 include:two.test -all", "  at least 1 of 10\n"},
      // Terms count even if they are not reached.
      {"v=spf1 ip4:192.0.2.7 a mx -all", "  2 of 10\n"},
      {"v=spf1 include:empty.test a a a a a a a a a -all", "  10 of 10\n"},
      {"v=spf1 include:empty.test a a a a a a a a a a -all", "  11" + kTooMany},
  };
  for (const auto& [record, line] : cases) {
    SCOPED_TRACE(record);
    EXPECT_EQ(LastLine(ExplainRecord(record)), line);
  }
}

TEST_F(ExplanationTest, DomainsAndTermsFromDNSAreShownInPrintableASCII) {
  const ScriptedNameServer server(
      Zone{{"TXT example.org", {"v=spf1 a:\x1b[31m include:\x7f -all"}}});
  EXPECT_EQ(ExplainRecord("v=spf1 a:\x1b[31m include:\x7f -all"),
            "  example.org (N ms): given as v=spf1 a:\\033[31m include:\\177 -all\n"
            "    malformed      a:\\033[31m\n"
            "      A \\033[31m: no address\n"
            "    malformed      include:\\177\n"
            "      \\177 (N ms): no record\n"
            "    fails          -all\n"
            "  0 of 10\n");
}
