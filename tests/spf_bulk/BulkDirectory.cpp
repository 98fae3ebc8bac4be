#include "tests/spf_bulk/BulkDirectory.h"

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
