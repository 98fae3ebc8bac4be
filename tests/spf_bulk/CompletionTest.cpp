// The completion of spf-bulk's arguments by bash.

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "tests/spf_bulk/BulkDirectory.h"
#include "tests/support/Completion.h"

namespace {

using Texts = std::vector<std::string>;

const Texts kOptions = {"--jobs",        "--output", "--resume", "--errors",
                        "--time-limit",  "--rate",   "--server", "--progress",
                        "--no-progress", "--help",   "--version"};

// Expects `candidates` for the last of `words`, which are as bash cuts them, in a directory with
// two files.
void ExpectCandidates(const Texts& candidates, const Texts& words) {
  const Completion completion("spf-bulk");
  completion.MakeFile("1.csv");
  completion.MakeFile("senders.csv");
  completion.ExpectCandidates(candidates, words.back(), words);
}

}  // namespace

TEST(CompletionTest, EachOptionOfTheProgramIsKnown) {
  const BulkDirectory directory;
  const std::string help = directory.Run({"--help"}).standardOutput;
  const std::string list = help.substr(help.find("\n  -j"));
  const std::regex option("--[a-z-]+");
  Texts options;
  for (std::sregex_iterator found(list.begin(), list.end(), option);
       found != std::sregex_iterator(); ++found) {
    options.push_back(found->str());
  }
  EXPECT_EQ(options, kOptions);
  ExpectCandidates(kOptions, {"--"});
}

TEST(CompletionTest, AnOptionIsCompletedAtAnyPlace) {
  ExpectCandidates({"--rate"}, {"--ra"});
  ExpectCandidates({"--resume"}, {"--output", "out", "--res"});
  ExpectCandidates({"--resume"}, {"senders.csv", "--res"});
}

TEST(CompletionTest, FilesAreCompleted) {
  ExpectCandidates({"senders.csv"}, {"s"});
  ExpectCandidates({"senders.csv"}, {"--output", "s"});
  ExpectCandidates({"senders.csv"}, {"--errors", "=", "s"});
  ExpectCandidates({"1.csv"}, {"--rate", "10", "1"});
}

TEST(CompletionTest, AValueThatIsNotAFileIsNotCompleted) {
  for (const char* option : {"-j", "--jobs", "--time-limit", "--rate", "--server"}) {
    ExpectCandidates({}, {option, "1"});
    ExpectCandidates({}, {option, ""});
  }
  ExpectCandidates({}, {"--rate", "=", "1"});
}
