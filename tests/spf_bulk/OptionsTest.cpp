// The command line of spf-bulk.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/spf_bulk/BulkDirectory.h"

namespace {

struct Misuse {
  const char* name;
  std::vector<std::string> arguments;
  std::string said;
};

class MisuseTest : public testing::TestWithParam<Misuse> {};

TEST_P(MisuseTest, IsReportedAndNoFileIsMade) {
  const BulkDirectory directory;
  const ChildResult result = directory.Run(GetParam().arguments);
  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_EQ(result.standardOutput, "");
  EXPECT_EQ(result.standardError,
            "spf-bulk: " + GetParam().said + "\nTry 'spf-bulk --help' or 'man spf-bulk'.\n");
  EXPECT_EQ(directory.Read("spf-bulk.errors"), "");
}

const std::string kManyJobs =
    "at most 900 checks at once, as the descriptor of a look-up must be below 1024: ";
const std::string kJobs = "the number of checks at once is 1 to 900: ";
const std::string kTime = "the time limit is a number of seconds, 0.001 to 86400: ";
const std::string kRate = "the rate is a number of checks a second, 0.001 to 1000000: ";
const std::string kServer = "the name server is an IPv4 address other than 0.0.0.0: ";

INSTANTIATE_TEST_SUITE_P(
    Arguments, MisuseTest,
    testing::Values(
        Misuse{"LongOption", {"--unknown"}, "no such option: --unknown"},
        Misuse{"ShortOption", {"-k"}, "no such option: -k"},
        Misuse{"ValueForAFlag", {"--resume=x"}, "an option that takes no value: --resume=x"},
        Misuse{"NoValue", {"--errors"}, "a value is missing after --errors"},
        Misuse{"TwoFiles", {"a", "b"}, "one file at most: b"},
        Misuse{"ResumeAlone", {"--resume"}, "--resume needs --output"},
        Misuse{"NoJobs", {"-j", "0"}, kJobs + "0"},
        Misuse{"HalfAJob", {"-j", "1.5"}, kJobs + "1.5"},
        Misuse{"AWordAsJobs", {"--jobs", "many"}, kJobs + "many"},
        Misuse{"TooManyJobs", {"-j", "901"}, kManyJobs + "901"},
        Misuse{"NoTime", {"--time-limit", "0"}, kTime + "0"},
        Misuse{"NegativeTime", {"--time-limit", "-1"}, kTime + "-1"},
        Misuse{"NoNumber", {"--time-limit", "nan"}, kTime + "nan"},
        Misuse{"NoRate", {"--rate", "0"}, kRate + "0"},
        Misuse{"RateAndMore", {"--rate", "10/s"}, kRate + "10/s"},
        Misuse{"NoAddress", {"--server", "localhost"}, kServer + "localhost"},
        Misuse{"AnyAddress", {"--server", "0.0.0.0"}, kServer + "0.0.0.0"},
        Misuse{"Unprintable", {"a", "\x1b[2J"}, "one file at most: \\033[2J"}),
    NameOfRow<Misuse>);

TEST(OptionsTest, TheHelpBeginsWithTheUsage) {
  const ChildResult result = BulkDirectory().Run({"--help"});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_TRUE(result.standardOutput.starts_with("Usage: spf-bulk [OPTION]... [FILE]\n"));
}

TEST(OptionsTest, TheVersionIsThatOfTheProject) {
  const ChildResult result = BulkDirectory().Run({"--version"});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.standardOutput, "spf-bulk " PROJECT_VERSION "\n");
}

TEST(OptionsTest, WithTooFewDescriptorsItAdvisesFewerChecks) {
  const BulkDirectory directory;
  const ChildResult result =
      directory.Start("ulimit -n 100; exec \"$@\"", {"--server", "127.0.0.1", "-j", "77"}).Wait();
  ExpectEnd(result, 2,
            "only 100 descriptors are allowed, but 101 are needed for 77 checks at once: see -j, "
            "and ulimit -n");
}

}  // namespace
