#include "tests/faults/ToolProcess.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace {

std::vector<std::string> ShellWords(const std::string& command,
                                    const std::vector<std::string>& arguments) {
  std::vector<std::string> words = {"sh", "-c", command, "sh", SPFCHECK_PROGRAM};
  words.insert(words.end(), arguments.begin(), arguments.end());
  return words;
}

}  // namespace

ToolProcess::ToolProcess(const std::vector<std::string>& arguments, const std::string& command)
    : m_directory(m_own.Path()), m_child("/bin/sh", ShellWords(command, arguments), m_directory) {}

ToolProcess::ToolProcess(const std::string& directory, const std::vector<std::string>& arguments,
                         const std::string& command)
    : m_directory(directory), m_child("/bin/sh", ShellWords(command, arguments), m_directory) {}

void ToolProcess::ExpectEnd(const Expected& expected) {
  const ChildResult run = m_child.Wait();
  EXPECT_EQ(run.standardOutput, expected.standardOutput);
  EXPECT_EQ(run.standardError, expected.standardError);
  std::ostringstream log;
  log << std::ifstream(m_directory + "/log.txtcurrent.log", std::ios::binary).rdbuf();
  EXPECT_EQ(log.str(), expected.log);
  EXPECT_EQ(run.signal != 0 ? 128 + run.signal : run.exitStatus, expected.status);
}
