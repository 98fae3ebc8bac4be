#include "tests/policy_server/RunningServer.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <regex>
#include <sstream>
#include <thread>

#include "tests/policy_server/PolicyClient.h"

namespace {

using namespace std::chrono_literals;

constexpr char kProgram[] = POLICY_SERVER_PROGRAM;
constexpr char kLog[] = "policy_server-current.log";

std::vector<std::string> Words(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "policy_server");
  return arguments;
}

std::vector<std::string> WithPort(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), RunningServer::kPort);
  return Words(arguments);
}

// Waits, at most 10 s; whether it holds.
template <typename Condition>
bool WaitUntil(const Condition& holds) {
  const auto end = std::chrono::steady_clock::now() + 10s;
  while (std::chrono::steady_clock::now() < end) {
    if (holds()) {
      return true;
    }
    std::this_thread::sleep_for(10ms);
  }
  return false;
}

}  // namespace

ChildResult RunPolicyServer(const std::vector<std::string>& arguments) {
  const TemporaryDirectory directory;
  return RunChild(kProgram, Words(arguments), directory.Path());
}

RunningServer::RunningServer(const std::vector<std::string>& arguments)
    : m_child(kProgram, WithPort(arguments), m_directory.Path()) {
  const PolicyClient first(kPort);
}

ChildResult RunningServer::Stop() {
  Signal(SIGTERM);
  return Wait();
}

std::vector<std::string> RunningServer::Log() const {
  static const std::regex variable(R"(\(\d+ ms\)|127\.0\.0\.1:(?!10040)\d+)");
  static const std::regex prefix(R"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d \[ *\d+\] )");
  std::istringstream stream(m_directory.Read(kLog));
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(std::regex_replace(std::regex_replace(line, prefix, ""), variable, "(0)"));
  }
  return lines;
}

bool RunningServer::WaitForLog(const std::string& text) const {
  return WaitUntil([&] {
    const std::vector<std::string> lines = Log();
    return std::any_of(lines.begin(), lines.end(),
                       [&](const auto& line) { return line.find(text) != std::string::npos; });
  });
}

bool RunningServer::WaitForLines(std::size_t count) const {
  return WaitUntil([&] { return Log().size() >= count; });
}
