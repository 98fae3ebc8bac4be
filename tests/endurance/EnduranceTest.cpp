// Long work leaves nothing behind: at its end the process has what it had after the first hundred
// look-ups or lines.

#include <gtest/gtest.h>
#include <malloc.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "framework/dns/DNSSocket.h"
#include "framework/dns/NameServer.h"
#include "framework/logging/Logger.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/OwnProcess.h"
#include "tests/support/RealNameServer.h"
#include "tests/support/TemporaryDirectory.h"

using fwk::Logger;

namespace {

constexpr int kFirst = 100;
constexpr int kLookUps = 10'000;
constexpr int kLines = 100'000;

// Threads and pages may come and go. If each of 10,000 rounds kept one allocation, of 32 bytes at
// least, it would be more.
constexpr std::size_t kSlack = 150'000;

// Returns how many bytes are allocated and not freed.
std::size_t AllocatedBytes() {
  const struct mallinfo2 use = mallinfo2();
  return use.uordblks + use.hblkhd;
}

// Returns how much memory, other than that of files, this process has. The count is exact; that of
// /proc/self/statm lags behind.
std::size_t ResidentBytes() {
  std::ifstream use("/proc/self/smaps_rollup");
  std::string word;
  std::size_t kilobytes = 0;
  while (use >> word && word != "Anonymous:") {
  }
  use >> kilobytes;
  return kilobytes * 1024;
}

// What the process has at one moment.
class Use {
 public:
  Use() : m_allocated(AllocatedBytes()), m_resident(ResidentBytes()), m_open(OpenDescriptors()) {}

  // Expects the process to have the same now, with at most `slack` bytes more allocated.
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

// Calls `round` with each number below `rounds`. Expects the process to have at the end what it had
// after the `first` calls.
template <typename Round>
void ExpectNothingKept(int first, int rounds, std::size_t slack, const Round& round) {
  int number = 0;
  while (number < first) {
    round(number++);
  }
  static_cast<void>(Use());  // the first look itself leaves something behind
  const Use use;
  while (number < rounds) {
    round(number++);
  }
  use.ExpectSameNow(slack);
}

// Returns a line that has the same length for each number.
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

  // Waits until the log has `count` lines, for at most 30 s.
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
  const RealNameServer server(Server::kNsd);
  DoNotLog();
  dns_servers = "127.0.0.2";
  const Texts addresses = {"192.0.2.25", "192.0.2.26"};
  DNSSocket lasting("example.org");
  Texts values;
  int answered = 0;
  ExpectNothingKept(kFirst, kLookUps, 0, [&](int number) {
    if (number % 2 == 0) {
      lasting.GetARecords(values);
      answered += values == addresses ? 1 : 0;
    } else {
      answered += DNSSocket("example.org").GetSPFRecord() == "v=spf1 a -all" ? 1 : 0;
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
