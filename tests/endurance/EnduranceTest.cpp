// Long work leaves nothing behind: at its end the process holds what it held after the first
// hundred look-ups or lines.

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "framework/dns/DNSSocket.h"
#include "framework/dns/NameServer.h"
#include "framework/logging/Logger.h"
#include "tests/endurance/ProcessUse.h"
#include "tests/endurance/ScriptedServerProcess.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/OwnProcess.h"
#include "tests/support/TemporaryDirectory.h"

using fwk::Logger;

namespace {

constexpr int kFirst = 100;
constexpr int kLookUps = 10'000;
constexpr int kLines = 100'000;

// What may come and go with threads and pages. A round that kept one allocation, the smallest
// takes 32 bytes, would keep more: 300,000 bytes in 10,000 rounds.
constexpr std::size_t kSlack = 150'000;

// What the process holds at one moment.
class Use {
 public:
  Use() : m_allocated(AllocatedBytes()), m_resident(ResidentBytes()), m_open(OpenDescriptors()) {}

  // Expects that it holds now what it held then, with at most so many bytes more allocated.
  void ExpectSameNow(std::size_t slack) const {
    EXPECT_LE(AllocatedBytes(), m_allocated + slack);
    EXPECT_LE(ResidentBytes(), m_resident + kSlack);
    EXPECT_EQ(OpenDescriptors(), m_open);
  }

 private:
  std::size_t m_allocated;
  std::size_t m_resident;
  std::ptrdiff_t m_open;
};

// Does round(number) so many times; the process holds at the end what it held after the first.
template <typename Round>
void ExpectNothingKept(int first, int rounds, std::size_t slack, const Round& round) {
  int number = 0;
  while (number < first) {
    round(number++);
  }
  static_cast<void>(Use());  // looking for the first time leaves something behind itself
  const Use use;
  while (number < rounds) {
    round(number++);
  }
  use.ExpectSameNow(slack);
}

// A line of the same length for each number.
std::string Line(int number) {
  return "a line that is longer than a short text " + std::to_string(kLines + number);
}

class LogEnduranceTest : public testing::Test {
 protected:
  LogEnduranceTest() {
    Logger::Init((m_directory.Path() + "/").c_str(), fwk::Info, false, false);
    Logger::m_bIncludeLogLevel = true;
    Logger::m_bSyslog = false;
    Logger::m_bToFile = true;
    Logger::m_bToConsole = false;
  }
  ~LogEnduranceTest() override { DoNotLog(); }

  // Waits until the log holds so many lines; for 30 s at most.
  void WaitForLines(int count) const {
    const std::string line = "Info: " + Line(0) + "\n";
    const std::size_t size = line.size() * static_cast<std::size_t>(count);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (LogSize() != size && std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    EXPECT_EQ(LogSize(), size);
  }

  std::size_t LogSize() const {
    std::error_code none;
    const auto size = std::filesystem::file_size(m_directory.Path("current.log"), none);
    return none ? 0 : size;
  }

  TemporaryDirectory m_directory;
};

}  // namespace

TEST(LookUpEnduranceTest, TenThousandLookUpsLeakNothing) {
  using Texts = std::vector<std::string>;
  const ScriptedServerProcess server({{"A example.org", {"192.0.2.1", "192.0.2.2"}},
                                      {"TXT example.org", {"v=spf1 ip4:192.0.2.0/24 -all"}}});
  DoNotLog();
  dns_servers = "127.0.0.1";
  const Texts addresses = {"192.0.2.1", "192.0.2.2"};
  DNSSocket lasting("example.org");
  Texts values;
  int answered = 0;
  ExpectNothingKept(kFirst, kLookUps, 0, [&](int number) {
    if (number % 2 == 0) {
      lasting.GetARecords(values);
      answered += values == addresses ? 1 : 0;
    } else {
      answered += DNSSocket("example.org").GetSPFRecord() == "v=spf1 ip4:192.0.2.0/24 -all" ? 1 : 0;
    }
  });
  EXPECT_EQ(answered, kLookUps);
}

TEST_F(LogEnduranceTest, TenThousandLookUpsThatFailLeaveOnlyTheirLines) {
  const std::string line =
      "Error: DNSSocket::DoQuery - StdException - UDPSocket::CheckSocketStatus - error writing "
      "from the socket [] :: failed with code 101: Network is unreachable\n";
  dns_servers = "192.0.2.53";  // no route leads there
  DNSSocket lasting("example.org");
  std::vector<std::string> values;
  ExpectNothingKept(kFirst, kLookUps, 0, [&](int number) {
    if (number % 2 == 0) {
      lasting.GetARecords(values);
    } else {
      DNSSocket("example.org").GetARecords(values);
    }
  });
  EXPECT_EQ(LogSize(), line.size() * kLookUps);
}

TEST_F(LogEnduranceTest, AHundredThousandLinesWrittenAtOnceLeakNothing) {
  ExpectNothingKept(kFirst, kLines, 0,
                    [](int number) { Logger::Log(fwk::Info, "%s", Line(number).c_str()); });
  WaitForLines(kLines);
}

TEST_F(LogEnduranceTest, AHundredThousandLinesThroughTheLoggingThreadLeakNothing) {
  constexpr int kTogether = 100;
  InOwnProcess([this] {
    Logger::StartAsync();
    EXPECT_TRUE(Logger::m_bAsync);
    ExpectNothingKept(kFirst / kTogether, kLines / kTogether, kSlack, [this](int round) {
      for (int i = 0; i < kTogether; ++i) {
        Logger::Log(fwk::Info, "%s", Line(round * kTogether + i).c_str());
      }
      WaitForLines((round + 1) * kTogether);
    });
  });
}
