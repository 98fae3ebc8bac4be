// A directory in which the built spf-bulk is run, as a user would start it.

#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/Shell.h"
#include "tests/support/TemporaryDirectory.h"

class BulkDirectory {
 public:
  // Write and read its files.
  void Write(const std::string& name, const std::string& content) const;
  std::string Read(const std::string& name) const { return m_directory.Read(name); }
  std::string Path(const std::string& name) const { return m_directory.Path(name); }
  const std::string& Path() const { return m_directory.Path(); }

  // Runs spf-bulk with `arguments` to its end. Its standard input is the file `in`, or empty if
  // there is none.
  ChildResult Run(const std::vector<std::string>& arguments) const;

  // Starts `command` of sh, in which "$@" is spf-bulk with `arguments`.
  ChildProcess Start(const std::string& command, const std::vector<std::string>& arguments) const;

 private:
  TemporaryDirectory m_directory;
};

// Expects that a run ended with `status` and with `said` as the last line of standard error.
void ExpectEnd(const ChildResult& result, int status, const std::string& said);

// Returns the name of a test's parameter.
template <typename Row>
std::string NameOfRow(const testing::TestParamInfo<Row>& row) {
  return row.param.name;
}
