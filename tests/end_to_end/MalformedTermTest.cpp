// Terms that end the process: its output, and how it ends.

#include <gtest/gtest.h>

#include <csignal>

#include "tests/end_to_end/ToolRun.h"
#include "tests/support/RealNameServer.h"

namespace {

struct Row {
  const char* name;
  const char* term;
  const char* log;        // the lines of the term itself
  std::string exception;  // its type and its text
};

class MalformedTermTest : public testing::TestWithParam<Row> {};

// Returns the texts of the C++ runtime and standard library.
std::string OutOfRange(const char* position, const char* size) {
  return std::string("'std::out_of_range'\n  what():  basic_string::substr: __pos (which is ") +
         position + ") > this->size() (which is " + size + ")\n";
}

constexpr char kNonDigit[] = "'std::invalid_argument'\n  what():  non-digit character\n";

const Row kRows[] = {
    {"Ip4Alone", "ip4", "", OutOfRange("4", "3")},
    {"IncludeAlone", "include", "", OutOfRange("8", "7")},
    {"RedirectAlone", "redirect", "", OutOfRange("9", "8")},
    {"PrefixWithALetter", "ip4:192.0.2.1/2x",
     "Debug: SPFCheck::processIP4 - domain::192.0.2.1/2x\n", kNonDigit},
    {"PrefixWithADot", "a/24.0",
     "Debug: SPFCheck::processA - domain::a.example.org\n"
     "Debug: SPFCheck::checkDomain: ip::192.0.2.10 == ARecord::192.0.2.10/24.0\n",
     kNonDigit},
};

}  // namespace

TEST_P(MalformedTermTest, EndsTheProcessWithoutAVerdict) {
  const RealNameServer server(Server::kNsd);
  const std::string record = std::string("v=spf1 ") + GetParam().term + " ip4:192.0.2.10";
  const std::string log =
      "Debug: SPFCheck::SPFCheck ip(192.0.2.10), smtpFrom(), domain(a.example.org)\n"
      "Debug: SPFCheck::SPFCheck spf record = " +
      record + "\n" + GetParam().log;

  ExpectRun(
      {"a.example.org", "192.0.2.10", "", record},
      {.standardOutput = log,
       .standardError = "terminate called after throwing an instance of " + GetParam().exception,
       .log = log,
       .status = 128 + SIGABRT});
}

INSTANTIATE_TEST_SUITE_P(Terms, MalformedTermTest, testing::ValuesIn(kRows),
                         [](const auto& row) { return row.param.name; });
