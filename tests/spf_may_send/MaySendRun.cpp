#include "tests/spf_may_send/MaySendRun.h"

#include <filesystem>

namespace {

std::vector<std::string> ShellWords(const std::string& command,
                                    const std::vector<std::string>& arguments) {
  std::vector<std::string> words = {"sh", "-c", command, "sh", SPF_MAY_SEND_PROGRAM};
  words.insert(words.end(), arguments.begin(), arguments.end());
  return words;
}

}  // namespace

MaySendRun::MaySendRun(const std::vector<std::string>& arguments, const std::string& command)
    : m_child("/bin/sh", ShellWords(command, arguments), m_directory.Path()) {}

void MaySendRun::Signal(int signal) const {
  m_child.Signal(signal);
}

const ChildResult& MaySendRun::GetResult() {
  if (m_result == nullptr) {
    m_result = std::make_unique<ChildResult>(m_child.Wait());
    EXPECT_TRUE(std::filesystem::is_empty(m_directory.Path()));
  }
  return *m_result;
}

void ExpectVerdict(const std::vector<std::string>& arguments, int status,
                   const std::string& output) {
  MaySendRun run(arguments);
  EXPECT_EQ(run.GetStatus(), status);
  EXPECT_EQ(run.GetOutput(), output);
  EXPECT_EQ(run.GetErrors(), "");
}

void ExpectWrongUse(const std::vector<std::string>& arguments, const std::string& message) {
  SCOPED_TRACE(message);
  MaySendRun run(arguments);
  EXPECT_EQ(run.GetStatus(), kWrongUse);
  EXPECT_EQ(run.GetOutput(), "");
  EXPECT_EQ(run.GetErrors(),
            "spf-may-send: " + message + "\nTry 'spf-may-send --help' or 'man spf-may-send'.\n");
}
