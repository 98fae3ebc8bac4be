// A directory in which the built spf-bulk is run, as a user would start it.

#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/Shell.h"
#include "tests/support/TemporaryDirectory.h"

class BulkDirectory {
 public:
  // Makes files of the directory, and reads them.
  void Write(const std::string& name, const std::string& content) const;
  std::string Read(const std::string& name) const { return m_directory.Read(name); }
  std::string Path(const std::string& name) const { return m_directory.Path(name); }
  const std::string& Path() const { return m_directory.Path(); }

  // Runs spf-bulk with `arguments` to its end; its standard input is the file `in`, if there is
  // one, and empty without.
  ChildResult Run(const std::vector<std::string>& arguments) const;

  // Starts a shell that runs `command`, in which "$@" stands for spf-bulk with `arguments`.
  ChildProcess Start(const std::string& command, const std::vector<std::string>& arguments) const;

 private:
  TemporaryDirectory m_directory;
};

// Expects that a run has ended with `status`, and with `said` as the last line on standard error.
void ExpectEnd(const ChildResult& result, int status, const std::string& said);

// Returns the name of a row of a table of tests.
template <typename Row>
std::string NameOfRow(const testing::TestParamInfo<Row>& row) {
  return row.param.name;
}
