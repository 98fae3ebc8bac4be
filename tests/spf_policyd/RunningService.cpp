#include "tests/spf_policyd/RunningService.h"

#include <csignal>
#include <fstream>
#include <regex>
#include <sstream>

#include "tests/support/ProcessStatus.h"
#include "tests/support/Waiting.h"

namespace {

constexpr char kProgram[] = SPF_POLICYD_PROGRAM;

}  // namespace

ServiceFiles::ServiceFiles(const std::string& settings) {
  std::ofstream("/etc/resolv.conf") << "nameserver 127.0.0.1\n";
  Configure(settings);
}

void ServiceFiles::Configure(const std::string& settings) const {
  std::ofstream("/etc/spf-policyd.conf") << "logging=" << LogDirectory() << "\nhost=mail.test\n"
                                         << settings;
}

std::vector<std::string> ServiceFiles::Log() const {
  static const std::regex time(R"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d )");
  static const std::regex elapsed(R"(\d+ ms)");
  std::istringstream stream(m_log.Read("current.log"));
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(std::regex_replace(std::regex_replace(line, time, ""), elapsed, "0 ms"));
  }
  return lines;
}

std::size_t ServiceFiles::Count(const std::string& text) const {
  std::istringstream stream(m_log.Read("current.log"));
  std::size_t count = 0;
  for (std::string line; std::getline(stream, line);) {
    count += line.find(text) != std::string::npos ? 1 : 0;
  }
  return count;
}

ChildResult RunService(const std::vector<std::string>& arguments) {
  std::vector<std::string> words = arguments;
  words.insert(words.begin(), "spf-policyd");
  return RunChild(kProgram, words, "/");
}

RunningService::RunningService(const std::string& settings)
    : m_files(settings),
      m_child(
          std::make_unique<ChildProcess>(kProgram, std::vector<std::string>{"spf-policyd"}, "/")) {
  WaitUntilReady();
}

RunningService::RunningService(const std::string& settings, const std::string& command)
    : m_files(settings),
      m_child(std::make_unique<ChildProcess>(
          "/bin/sh", std::vector<std::string>{"sh", "-c", command, kProgram}, "/")) {
  WaitUntilReady();
}

void RunningService::WaitUntilReady() const {
  EXPECT_TRUE(ComesTrue([this] { return m_files.Count("started, version") == 1; }));
}

void RunningService::Reload(const std::string& settings) const {
  const auto count = [this] {
    return m_files.Count("configuration read again") + m_files.Count("the settings stay");
  };
  const std::size_t before = count();
  m_files.Configure(settings);
  Signal(SIGHUP);
  EXPECT_TRUE(ComesTrue([&] { return count() > before; }));
}

long RunningService::Status(const std::string& name) const {
  return std::stol(ReadStatus("/proc/" + std::to_string(GetId()), name));
}

void RunningService::ExpectGoodEnd() {
  Signal(SIGTERM);
  const ChildResult result = Wait();
  EXPECT_EQ(result.exitStatus, 0) << "signal " << result.signal;
  EXPECT_EQ(result.standardOutput, "");
  EXPECT_EQ(result.standardError, "");
}
