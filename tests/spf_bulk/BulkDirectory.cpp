#include "tests/spf_bulk/BulkDirectory.h"

namespace {

std::string LastLine(const std::string& text) {
  if (text.size() < 2) {
    return text;
  }
  const std::size_t feed = text.rfind('\n', text.size() - 2);
  return text.substr(feed == std::string::npos ? 0 : feed + 1);
}

}  // namespace

void BulkDirectory::Write(const std::string& name, const std::string& content) const {
  m_directory.Write(name, content);
}

ChildResult BulkDirectory::Run(const std::vector<std::string>& arguments) const {
  return Start("[ -e in ] || : > in; exec \"$@\" < in", arguments).Wait();
}

ChildProcess BulkDirectory::Start(const std::string& command,
                                  const std::vector<std::string>& arguments) const {
  std::vector<std::string> words = {"sh", "-c", command, "sh", BULK_PROGRAM};
  words.insert(words.end(), arguments.begin(), arguments.end());
  return ChildProcess("/bin/sh", words, m_directory.Path());
}

void ExpectEnd(const ChildResult& result, int status, const std::string& said) {
  EXPECT_EQ(result.exitStatus, status) << result.standardError;
  EXPECT_EQ(LastLine(result.standardError), "spf-bulk: " + said + "\n");
}

std::string Lines(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) {
    text += line + "\n";
  }
  return text;
}
