#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>
#include <vector>

#include "programs/spf-bulk/Progress.h"
#include "tests/spf_bulk/BulkRunTest.h"

namespace {

const std::string kSaid =
    "spf-bulk: 3 lines: 1 passed, 0 failed, 1 error, 1 malformed; see spf-bulk.errors\n";

// A terminal for a program to write on.
class Terminal {
 public:
  explicit Terminal(unsigned short columns) : m_master(posix_openpt(O_RDWR | O_NOCTTY)) {
    EXPECT_EQ(grantpt(m_master), 0);
    EXPECT_EQ(unlockpt(m_master), 0);
    m_slave = open(ptsname(m_master), O_RDWR | O_NOCTTY);
    const winsize size{24, columns, 0, 0};
    EXPECT_EQ(ioctl(m_slave, TIOCSWINSZ, &size), 0);
  }
  ~Terminal() {
    close(m_slave);
    close(m_master);
  }

  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  std::string GetPath() const { return ptsname(m_master); }

  // Returns all that was written, with line feeds alone as line ends.
  std::string Read() const {
    fcntl(m_master, F_SETFL, O_NONBLOCK);
    std::string text;
    std::array<char, 4096> buffer{};
    for (ssize_t size = 0; (size = read(m_master, buffer.data(), buffer.size())) > 0;) {
      text.append(buffer.data(), static_cast<std::size_t>(size));
    }
    for (std::size_t at = 0; (at = text.find("\r\n")) != std::string::npos;) {
      text.erase(at, 1);
    }
    return text;
  }

 private:
  int m_master;
  int m_slave = -1;
};

class ProgressTest : public BulkRunTest {
 protected:
  // Returns what a run over three lines, one of which takes 1.5 s, prints on a terminal.
  std::string RunOnTerminal(unsigned short columns, const std::vector<std::string>& more = {}) {
    const Terminal terminal(columns);
    m_directory.Write("in.csv", Lines({"pass.test,192.0.2.1,", "x", "silent.test,192.0.2.1,"}));
    std::vector<std::string> arguments = {"--time-limit", "1.5", "in.csv"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const std::string command = "exec \"$@\" 2> " + terminal.GetPath();
    EXPECT_EQ(m_directory.Start(command, arguments).Wait().exitStatus, 1);
    return terminal.Read();
  }
};

std::vector<std::string> Split(const std::string& text, char end) {
  std::vector<std::string> parts;
  std::size_t begin = 0;
  for (std::size_t at = 0; (at = text.find(end, begin)) != std::string::npos; begin = at + 1) {
    parts.push_back(text.substr(begin, at - begin));
  }
  parts.push_back(text.substr(begin));
  return parts;
}

TEST_F(ProgressTest, ATerminalShowsItInOneLineThatIsErasedAtTheEnd) {
  const std::vector<std::string> drawn = Split(RunOnTerminal(120), '\r');
  ASSERT_GE(drawn.size(), 6U);   // before the first, and the erasure
  EXPECT_LE(drawn.size(), 18U);  // ten a second
  EXPECT_EQ(drawn.front(), "");
  for (std::size_t i = 3; i + 2 < drawn.size(); ++i) {  // the last may show the slow line as done
    EXPECT_TRUE(drawn[i].starts_with("2 of 3 lines, ")) << drawn[i];
    EXPECT_TRUE(drawn[i].ends_with("; 1 passed, 0 failed, 0 error\x1b[K")) << drawn[i];
  }
  EXPECT_EQ(drawn.back(), "\x1b[K" + kSaid);
}

TEST_F(ProgressTest, ANarrowTerminalShowsItsBeginning) {
  const std::vector<std::string> drawn = Split(RunOnTerminal(20), '\r');
  ASSERT_GE(drawn.size(), 5U);
  for (std::size_t i = 1; i + 1 < drawn.size(); ++i) {
    EXPECT_EQ(drawn[i].find("\x1b[K"), 19U) << drawn[i];
  }
}

TEST_F(ProgressTest, ATerminalDoesNotShowItIfItIsNotWanted) {
  EXPECT_EQ(RunOnTerminal(120, {"--no-progress"}), kSaid);
}

TEST_F(ProgressTest, ItIsShownElsewhereIfItIsAskedFor) {
  m_directory.Write("in", "pass.test,192.0.2.1,\n");
  const ChildResult result = m_directory.Run({"--progress"});
  EXPECT_TRUE(result.standardError.starts_with("\r"));
  EXPECT_NE(result.standardError.find(" of 1 lines, "), std::string::npos);
  EXPECT_EQ(m_directory.Run({}).standardError,
            "spf-bulk: 1 line: 1 passed, 0 failed, 0 error, 0 malformed\n");
}

TEST_F(ProgressTest, TheLinesOfAResumedRunIncludeThoseOfTheEarlierRun) {
  m_directory.Write("in.csv", Lines({"pass.test,192.0.2.1,", "fail.test,192.0.2.1,"}));
  m_directory.Write("out.csv", "pass.test,192.0.2.1,,passed\n");
  const ChildResult result =
      m_directory.Run({"--progress", "--output", "out.csv", "--resume", "in.csv"});
  EXPECT_NE(result.standardError.find(" of 2 lines, "), std::string::npos) << result.standardError;
}

TEST_F(ProgressTest, ItTellsTheTimeThatIsLeftIfTheLengthIsKnown) {
  const Totals totals{.passed = 100, .failed = 20, .error = 3, .malformed = 4, .doubtful = 1};
  EXPECT_EQ(Progress::Describe(totals, 0, 1.9),
            "127 lines, 1 a second; 100 passed, 20 failed, 3 error");
  EXPECT_EQ(Progress::Describe(totals, 1127, 10),
            "127 of 1127 lines, 10 a second, 0:01:40 left; 100 passed, 20 failed, 3 error");
  EXPECT_EQ(Progress::Describe(totals, 36127, 0.5),
            "127 of 36127 lines, 0 a second, 20:00:00 left; 100 passed, 20 failed, 3 error");
  EXPECT_EQ(Progress::Describe(totals, 127, 10),
            "127 of 127 lines, 10 a second; 100 passed, 20 failed, 3 error");
  EXPECT_EQ(Progress::Describe(totals, 1000, 0),
            "127 of 1000 lines, 0 a second; 100 passed, 20 failed, 3 error");
}

TEST_F(ProgressTest, TheLengthOfAPipeIsNotKnown) {
  m_directory.Write("in.csv", "pass.test,192.0.2.1,\n");
  const ChildResult result = m_directory.Start("cat in.csv | \"$@\"", {"--progress"}).Wait();
  EXPECT_EQ(result.standardError.find(" of "), std::string::npos);
  EXPECT_NE(result.standardError.find(" lines, "), std::string::npos);
}

}  // namespace
