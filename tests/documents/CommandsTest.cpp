// Runs the commands of the documents and compares what they print. These blocks of a document are
// steps, in their order:
//   ```console        a command after "$ ", continued after "> " or after a line that ends in "\",
//                     then what it prints on standard output
//   ```sh             commands that succeed; those that .ci/run has as well are left to it
//   ```LANGUAGE FILE  the content of FILE
// ```text and ```mermaid are ignored; any other block is a fault of the document. In a manual page
// .EX begins a console block or, after a comment .\" file: FILE, the content of FILE.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/CleanMachine.h"
#include "tests/support/RealNameServer.h"
#include "tests/support/Shell.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

using Texts = std::vector<std::string>;

struct Step {
  std::string file;     // empty for a command
  std::string command;  // its lines
  std::string text;     // the content of the file, or what is printed
  bool isShown;         // whether `text` is compared
};

Texts LinesOf(const std::string& path) {
  std::ifstream file(path);
  Texts lines;
  for (std::string line; std::getline(file, line);) {
    lines.push_back(line);
  }
  EXPECT_FALSE(lines.empty()) << path;
  return lines;
}

std::string WithoutEscapes(std::string line) {
  const std::vector<std::pair<const char*, const char*>> escapes = {
      {R"(\\-)", "-"}, {R"(\\\(aq)", "'"}, {R"(\\\(dq)", "\""}, {R"(\\&)", ""}, {R"(\\e)", "\\"}};
  for (const auto& [escape, character] : escapes) {
    line = std::regex_replace(line, std::regex(escape), character);
  }
  return line;
}

// Returns the examples of a manual page as blocks of Markdown.
Texts ExamplesOf(const Texts& page) {
  const std::string comment = ".\\\" file: ";
  Texts lines;
  std::string kind = "console";
  bool isInside = false;
  for (const std::string& line : page) {
    if (line.starts_with(comment)) {
      kind = "text " + line.substr(comment.size());
    } else if (line.starts_with(".EX")) {
      lines.push_back("```" + std::exchange(kind, "console"));
      isInside = true;
    } else if (line.starts_with(".EE")) {
      lines.emplace_back("```");
      isInside = false;
    } else if (isInside) {
      lines.push_back(WithoutEscapes(line));
    }
  }
  return lines;
}

class Reader {
 public:
  // Reads the steps of a document. A fault of the document fails the test.
  explicit Reader(const Texts& document) {
    for (const std::string& line : document) {
      if (m_kind.empty()) {
        Begin(line);
      } else if (line == "```") {
        m_kind.clear();
        m_isContinued = false;
      } else {
        ReadLine(line);
      }
    }
    EXPECT_EQ(m_kind, "") << "a block without an end";
  }

  const std::vector<Step>& Steps() const { return m_steps; }

 private:
  void Begin(const std::string& line) {
    EXPECT_FALSE(std::regex_search(line, std::regex("^ +```|^ *~~~"))) << line;
    if (!line.starts_with("```")) {
      return;
    }
    std::string file;
    std::istringstream(line.substr(3)) >> m_kind >> file;
    m_first = m_steps.size();
    if (!file.empty()) {
      m_kind = "file";
      m_steps.push_back({file, "", "", false});
    }
    const std::set<std::string> kinds = {"console", "sh", "file", "text", "mermaid"};
    EXPECT_TRUE(kinds.contains(m_kind)) << "a block of no known kind: " << line;
  }

  void ReadLine(const std::string& line) {
    if (m_kind == "file") {
      m_steps.back().text += line + "\n";
    } else if (m_kind == "console") {
      ReadConsole(line);
    } else if (m_kind == "sh" && !m_leftOut.contains(line)) {
      AddCommand(line, !m_isContinued, false);
    }
  }

  void ReadConsole(const std::string& line) {
    if (line.starts_with("$ ")) {
      AddCommand(line.substr(2), true, true);
    } else if (m_isContinued) {
      AddCommand(line, false, true);
    } else if (m_steps.size() == m_first) {
      ADD_FAILURE() << "output without a command: " << line;
    } else if (line.starts_with("> ") && m_steps.back().text.empty()) {
      AddCommand(line.substr(2), false, true);
    } else {
      m_steps.back().text += line + "\n";
    }
  }

  void AddCommand(const std::string& line, bool isNew, bool isShown) {
    if (isNew) {
      m_steps.push_back({"", "", "", isShown});
    }
    m_steps.back().command += line + "\n";
    m_isContinued = line.ends_with('\\');
  }

  const Texts m_ciLines = LinesOf(PROJECT_ROOT "/.ci/run");
  const std::set<std::string> m_leftOut{m_ciLines.begin(), m_ciLines.end()};
  std::vector<Step> m_steps;
  std::string m_kind;       // of the block; empty outside
  std::size_t m_first = 0;  // the block's first step
  bool m_isContinued = false;
};

// Returns a script that does all steps in one shell. The output, errors and status of step N are in
// the files N.printed, N.errors and N.status of `results`.
std::string ScriptOf(const std::vector<Step>& steps, const TemporaryDirectory& results) {
  std::string script;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    const std::string result = results.Path(std::to_string(i));
    if (steps[i].file.empty()) {
      script += "{\n" + steps[i].command + "} > " + result + ".printed 2> " + result +
                ".errors < /dev/null; echo $? > " + result + ".status\n";
    } else {
      results.Write(std::to_string(i), steps[i].text);
      script += "mkdir -p \"$(dirname " + steps[i].file + ")\"; cp " + result + " " +
                steps[i].file + "\n";
    }
  }
  return script;
}

// Does the steps in `directory` and compares what they print. A command that prints nothing must
// succeed.
void ExpectAsShown(const std::vector<Step>& steps, const std::string& directory) {
  const TemporaryDirectory results;
  RunShell(ScriptOf(steps, results), directory, 290);
  for (std::size_t i = 0; i < steps.size(); ++i) {
    if (!steps[i].file.empty()) {
      continue;
    }
    const std::string step = std::to_string(i);
    SCOPED_TRACE(steps[i].command + results.Read(step + ".errors"));
    const std::string status = results.Read(step + ".status");
    EXPECT_NE(status, "") << "the shell did not come to the end of this command";
    if (steps[i].isShown) {
      EXPECT_EQ(results.Read(step + ".printed"), steps[i].text);
    }
    if (steps[i].text.empty()) {
      EXPECT_EQ(status, "0\n");
    }
  }
}

// Makes links to the files and folders of the checkout.
void LinkCheckout(const std::string& directory) {
  for (const auto& entry : std::filesystem::directory_iterator(PROJECT_ROOT)) {
    if (!entry.path().filename().string().starts_with('.')) {
      std::filesystem::create_symlink(entry.path(), directory / entry.path().filename());
    }
  }
}

class CommandsTest : public testing::TestWithParam<std::string> {};

std::string NameOf(const testing::TestParamInfo<std::string>& document) {
  return std::regex_replace(document.param, std::regex("[^A-Za-z0-9]"), "_");
}

}  // namespace

// Readers of some documents have a checkout, those of the others only the packages.
TEST_P(CommandsTest, PrintTheOutputThatTheDocumentShows) {
  const bool needsCheckout =
      std::regex_match(GetParam(), std::regex("(README|CONTRIBUTING|fuzz/README)\\.md"));
  NeedPrograms({"g++", "cmake", "ninja", "flock", "dpkg", "dh", "man", "parallel", "pkg-config"});
  Texts lines = LinesOf(PROJECT_ROOT "/" + GetParam());
  if (!GetParam().ends_with(".md")) {
    lines = ExamplesOf(lines);
  }
  const TemporaryDirectory directory;
  EnterCleanMachine();
  const RealNameServer server(Server::kNsd);
  if (needsCheckout) {
    LinkCheckout(directory.Path());
  } else {
    InstallPackages();
  }
  ExpectAsShown(Reader(lines).Steps(), directory.Path());
}

INSTANTIATE_TEST_SUITE_P(Documents, CommandsTest, testing::Values(DOCUMENTS), NameOf);
