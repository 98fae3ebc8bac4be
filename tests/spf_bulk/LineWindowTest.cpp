#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "programs/spf-bulk/LineWindow.h"

namespace {

std::unique_ptr<LineBlock> MakeBlock(std::uint64_t number, const std::vector<std::string>& lines) {
  auto block = std::make_unique<LineBlock>(number);
  for (const std::string& line : lines) {
    block->Add(line);
  }
  block->Close();
  return block;
}

const Outcome kPassed{.verdict = Verdict::kPassed, .note = ""};

Outcome ErrorBecause(const std::string& note) {
  return {.verdict = Verdict::kError, .note = note};
}

std::string LineAt(const LineWindow::Place& place) {
  return std::string(place.block->GetLine(place.index));
}

struct Printed {
  std::string output;
  std::string errors;
  bool isAll = false;
};

Printed Print(LineWindow& window) {
  Printed printed;
  printed.isAll = window.Print(printed.output, printed.errors);
  return printed;
}

TEST(LineWindowTest, LinesAreStartedInOrder) {
  LineWindow window;
  window.Add(MakeBlock(1, {"a,1.1.1.1,", "x", "b,1.1.1.1,"}));
  window.Add(MakeBlock(4, {"x", "x"}));
  window.Add(MakeBlock(6, {"x", "c,1.1.1.1,"}));
  std::string started;
  while (window.HasWaiting()) {
    started += LineAt(window.StartNext()) + " ";
  }
  EXPECT_EQ(started, "a,1.1.1.1, b,1.1.1.1, c,1.1.1.1, ");
}

TEST(LineWindowTest, LinesArePrintedUpToTheFirstThatIsNotDone) {
  LineWindow window;
  window.Add(MakeBlock(1, {"x", "a,1.1.1.1,", "y", "b,1.1.1.1,"}));
  const LineWindow::Place a = window.StartNext();
  const LineWindow::Place b = window.StartNext();
  window.SetOutcome(b, ErrorBecause("no, thanks"));
  const Printed first = Print(window);
  EXPECT_EQ(first.output, "");
  EXPECT_EQ(first.errors, "1,not three fields,x\n");
  EXPECT_TRUE(first.isAll);
  window.SetOutcome(a, kPassed);
  const Printed second = Print(window);
  EXPECT_EQ(second.output, "a,1.1.1.1,,passed\nb,1.1.1.1,,error\n");
  EXPECT_EQ(second.errors, "3,not three fields,y\n4,no; thanks,b,1.1.1.1,\n");
  EXPECT_TRUE(window.IsEmpty());
  EXPECT_EQ(window.GetWeight(), 0U);
}

TEST(LineWindowTest, AfterABlockIsPrintedTheNextLineIsStillFound) {
  LineWindow window;
  window.Add(MakeBlock(1, {"x"}));
  EXPECT_EQ(Print(window).errors, "1,not three fields,x\n");
  window.Add(MakeBlock(2, {"a,1.1.1.1,", "b,1.1.1.1,"}));
  window.SetOutcome(window.StartNext(), kPassed);
  EXPECT_EQ(Print(window).output, "a,1.1.1.1,,passed\n");
  window.Add(MakeBlock(4, {"c,1.1.1.1,"}));
  EXPECT_EQ(LineAt(window.StartNext()), "b,1.1.1.1,");
  EXPECT_EQ(LineAt(window.StartNext()), "c,1.1.1.1,");
  EXPECT_FALSE(window.HasWaiting());
}

TEST(LineWindowTest, LongOutputIsPrintedInSteps) {
  LineWindow window;
  const std::string line = "a,1.1.1.1," + std::string(900, 'x');
  for (std::uint64_t i = 0; i < 1000; ++i) {
    window.Add(MakeBlock(i + 1, {line}));
    window.SetOutcome(window.StartNext(), kPassed);
  }
  std::string output;
  int steps = 0;
  bool isAll = false;
  while (!isAll) {
    const Printed printed = Print(window);
    EXPECT_LT(printed.output.size(), 66U * 1024);
    output += printed.output;
    isAll = printed.isAll;
    ++steps;
  }
  EXPECT_EQ(output.size(), 1000 * (line.size() + 8));
  EXPECT_EQ(steps, 14);
}

TEST(LineWindowTest, AShortLineWeighs16Bytes) {
  LineWindow window;
  window.Add(MakeBlock(1, {"a,1.1.1.1,", "a,1.1.1.1,xxxxxxxxxx"}));
  EXPECT_EQ(window.GetWaitingWeight(), 16U + 21U);
  const std::size_t weight = window.GetWeight();
  const LineWindow::Place place = window.StartNext();
  EXPECT_EQ(window.GetWaitingWeight(), 21U);
  EXPECT_EQ(window.GetWeight(), weight);
  window.SetOutcome(place, ErrorBecause("a reason"));
  EXPECT_GT(window.GetWeight(), weight + 8);
}

TEST(LineWindowTest, ABlockIsFullAt64KiB) {
  LineBlock longLines(1);
  int count = 0;
  while (!longLines.IsFull()) {
    longLines.Add(std::string(1000, 'x'));
    ++count;
  }
  EXPECT_EQ(count, 66);
  LineBlock shortLines(1);
  count = 0;
  while (!shortLines.IsFull()) {
    shortLines.Add("");
    ++count;
  }
  EXPECT_EQ(count, 4096);
}

}  // namespace
