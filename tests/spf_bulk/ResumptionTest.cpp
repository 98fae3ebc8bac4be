// Resumption: what stays of the files of an earlier run, and how they may differ from the input.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "framework/core/Exceptions.h"
#include "programs/spf-bulk/InputFile.h"
#include "programs/spf-bulk/Resumption.h"
#include "programs/spf-bulk/SenderLine.h"
#include "tests/spf_bulk/BulkDirectory.h"
#include "tests/support/FailureText.h"

namespace {

const std::string kInput =
    Lines({"domain,ip,sender", "a,1.1.1.1,", "x", "b,1.1.1.1,\r", "c,1.1.1.1,", "y", "d,1.1.1.1,"});

struct Found {
  std::string output;  // that stays
  std::string errors;
  std::string next;  // line of the input to read
  Totals totals;
};

struct State {
  const char* name;
  std::string output;
  std::string errors;
  Found found;
};

Found Resume(const std::string& output, const std::string& errors) {
  const TemporaryDirectory directory;
  directory.Write("in", kInput);
  directory.Write("out", output);
  directory.Write("err", errors);
  const InputFile input(directory.Path("in"));
  LineSource lines(input.GetDescriptor(), SenderLine::kEnough, "in", -1);
  const Resumption resumption(lines, directory.Path("out"), directory.Path("err"));
  EXPECT_EQ(directory.Read("out"), output);
  EXPECT_EQ(directory.Read("err"), errors);
  std::string_view next;
  lines.Next(next);
  return {output.substr(0, static_cast<std::size_t>(resumption.GetOutputSize())),
          errors.substr(0, static_cast<std::size_t>(resumption.GetErrorsSize())), std::string(next),
          resumption.GetTotals()};
}

class ResumptionTest : public testing::TestWithParam<State> {};

TEST_P(ResumptionTest, FinishedLinesStay) {
  const State& state = GetParam();
  const Found found = Resume(state.output, state.errors);
  EXPECT_EQ(found.output, state.found.output);
  EXPECT_EQ(found.errors, state.found.errors);
  EXPECT_EQ(found.next, state.found.next);
  EXPECT_EQ(found.totals.Describe(""), state.found.totals.Describe(""));
}

const std::string kHeader = "domain,ip,sender,verdict\n";
const std::string kX = "3,not three fields,x\n";
const std::string kY = "6,not three fields,y\n";

INSTANTIATE_TEST_SUITE_P(
    States, ResumptionTest,
    testing::Values(
        State{"Nothing", "", "", {"", "", "domain,ip,sender", {}}},
        State{"EntriesOfLinesThatAreNotFinished", "", kX + kY, {"", "", "domain,ip,sender", {}}},
        State{"ACutHeader", "domain,ip", "", {"", "", "domain,ip,sender", {}}},
        State{"TheHeader", kHeader, kX, {kHeader, "", "a,1.1.1.1,", {}}},
        State{"ALongCutLine", std::string(1008, 'x'), "", {"", "", "domain,ip,sender", {}}},
        State{"ACutLine", kHeader + "a,1.1.1.1,,passed", kX, {kHeader, "", "a,1.1.1.1,", {}}},
        State{"ALineBeforeAMalformedOne",
              kHeader + "a,1.1.1.1,,passed\n",
              kX + "4,no answ",
              {kHeader + "a,1.1.1.1,,passed\n", "", "x", {.passed = 1}}},
        State{"ALineAfterAMalformedOne",
              kHeader + "a,1.1.1.1,,passed\nb,1.1.1.1,,failed\nc",
              kX + "5,no answer,c,1.1.1.1,\n",
              {kHeader + "a,1.1.1.1,,passed\nb,1.1.1.1,,failed\n",
               kX,
               "c,1.1.1.1,",
               {.passed = 1, .failed = 1, .malformed = 1}}},
        State{"AVerdictThatLacksAnAnswer",
              kHeader + "a,1.1.1.1,,passed\nb,1.1.1.1,,failed\n",
              kX + "4,no answer,b,1.1.1.1,\n" + kY,
              {kHeader + "a,1.1.1.1,,passed\nb,1.1.1.1,,failed\n",
               kX + "4,no answer,b,1.1.1.1,\n",
               "c,1.1.1.1,",
               {.passed = 1, .failed = 1, .malformed = 1, .doubtful = 1}}},
        State{"AnError",
              kHeader + "a,1.1.1.1,,error\n",
              "2,reason,a,1.1.1.1,\n" + kX,
              {kHeader + "a,1.1.1.1,,error\n", "2,reason,a,1.1.1.1,\n", "x", {.error = 1}}},
        State{"All",
              kHeader +
                  "a,1.1.1.1,,passed\nb,1.1.1.1,,passed\nc,1.1.1.1,,passed\nd,1.1.1.1,,failed\n",
              kX + kY,
              {kHeader +
                   "a,1.1.1.1,,passed\nb,1.1.1.1,,passed\nc,1.1.1.1,,passed\nd,1.1.1.1,,failed\n",
               kX + kY,
               "",
               {.passed = 3, .failed = 1, .malformed = 2}}}),
    NameOfRow<State>);

struct Difference {
  const char* name;
  std::string output;
  std::string errors;
  std::string said;  // without the file's directory
};

class DifferenceTest : public testing::TestWithParam<Difference> {};

TEST_P(DifferenceTest, IsNamed) {
  std::string said =
      FailureText<StdException>([] { Resume(GetParam().output, GetParam().errors); });
  const std::size_t begin = std::min(said.find('/'), said.size());
  said.erase(begin, said.rfind('/') + 1 - begin);
  EXPECT_EQ(said, GetParam().said + " of the input; nothing was changed");
}

const std::string kThreeLines = kHeader + "a,1.1.1.1,,passed\nb,1.1.1.1,,passed\n";

INSTANTIATE_TEST_SUITE_P(
    Differences, DifferenceTest,
    testing::Values(
        Difference{"AnotherHeader", "domain,ip,sender,passed\n", "",
                   "line 1 of out is not that of line 1"},
        Difference{"NoHeader", "a,1.1.1.1,,passed\n", "", "line 1 of out is not that of line 1"},
        Difference{"AnotherLine", kHeader + "b,1.1.1.1,,passed\n", "",
                   "line 2 of out is not that of line 2"},
        Difference{"AnotherVerdict", kHeader + "a,1.1.1.1,,perhaps\n", "",
                   "line 2 of out is not that of line 2"},
        Difference{"NoVerdict", kHeader + "a,1.1.1.1,\n", "",
                   "line 2 of out is not that of line 2"},
        Difference{"ALineThatIsMissing", kHeader + "a,1.1.1.1,,passed\nc,1.1.1.1,,passed\n", kX,
                   "line 3 of out is not that of line 4"},
        Difference{"ALineThatIsThereTwice", kHeader + "a,1.1.1.1,,passed\na,1.1.1.1,,passed\n", kX,
                   "line 3 of out is not that of line 4"},
        Difference{"MoreLines",
                   kThreeLines + "c,1.1.1.1,,passed\nd,1.1.1.1,,passed\nd,1.1.1.1,,passed\n",
                   kX + kY, "line 6 of out comes after line 7"},
        Difference{"ALastLineThatNoRunHasWritten", kHeader + "a,1.1.1.1,,passed\ndear diary", "",
                   "line 3 of out is not one that follows line 2"},
        Difference{"ALastLineThatIsTooLong", std::string(1009, 'x'), "",
                   "line 1 of out is not one that follows line 0"},
        Difference{"ALastLineThatHasNoEnd", std::string(1 << 20, 'x'), "",
                   "line 1 of out is not one that follows line 0"},
        Difference{"NoEntryOfAMalformedLine", kThreeLines, "",
                   "err has another entry, or none, for line 3"},
        Difference{"ACutEntryOfAMalformedLine", kThreeLines, "3,not three fields,x",
                   "err has another entry, or none, for line 3"},
        Difference{"AnotherEntryOfAMalformedLine", kThreeLines, "3,empty line,x\n",
                   "err has another entry, or none, for line 3"},
        Difference{"NoEntryOfAnError", kHeader + "a,1.1.1.1,,error\n", kX,
                   "err has another entry, or none, for line 2"},
        Difference{"AnEntryOfAnotherLine", kHeader + "a,1.1.1.1,,passed\n",
                   "2,no answer,b,1.1.1.1,\n", "err has another entry, or none, for line 2"},
        Difference{"AnEntryThatIsThereTwice", kThreeLines, kX + kX,
                   "err has another entry, or none, for line 4"},
        Difference{"NoEntryAtAll", kHeader, "dear diary\n",
                   "err has another entry, or none, for line 1"}),
    NameOfRow<Difference>);

}  // namespace
