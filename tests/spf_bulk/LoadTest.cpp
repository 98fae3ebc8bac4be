// The number of checks at once, and their rate.

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "tests/spf_bulk/BulkRunTest.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/ScriptedNameServer.h"
#include "tests/support/Text.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

TEST(LoadTest, TheNumberOfChecksAtOnceIsTheOneAskedFor) {
  const ScriptedNameServer server("127.0.0.1", {{"TXT slow.test", 500ms, "v=spf1 -all"}});
  SetResolverFile("nameserver 127.0.0.1\n");
  const BulkDirectory directory;
  directory.Write("in", Repeat("slow.test,192.0.2.1,\n", 12));
  const Clock::time_point begin = Clock::now();
  EXPECT_EQ(directory.Run({"-j", "3"}).exitStatus, 0);
  const Clock::duration three = Clock::now() - begin;
  EXPECT_EQ(directory.Run({"-j", "12"}).exitStatus, 0);
  const Clock::duration twelve = Clock::now() - begin - three;
  EXPECT_GE(three, 2000ms);
  EXPECT_LT(three, 3000ms);
  EXPECT_GE(twelve, 500ms);
  EXPECT_LT(twelve, 1500ms);
}

TEST(LoadTest, SlowLinesDoNotChangeTheOrder) {
  const ScriptedNameServer server("127.0.0.1", {{"TXT slow.test", 300ms, "v=spf1 -all"},
                                                {"TXT fast.test", 0ms, "v=spf1 ip4:192.0.2.1"}});
  SetResolverFile("nameserver 127.0.0.1\n");
  const BulkDirectory directory;
  std::string input;
  std::string wanted;
  for (int i = 0; i < 100; ++i) {
    const bool isSlow = i % 10 == 0;
    const std::string line =
        std::string(isSlow ? "slow" : "fast") + ".test,192.0.2.1,x" + std::to_string(i);
    input += line + "\n";
    wanted += line + (isSlow ? ",failed\n" : ",passed\n");
  }
  directory.Write("in", input);
  EXPECT_EQ(directory.Run({"-j", "8"}).standardOutput, wanted);
}

using RateTest = BulkRunTest;

TEST_F(RateTest, ChecksAreSpacedEvenly) {
  m_directory.Write("in", Repeat("pass.test,192.0.2.1,\n", 31));
  EXPECT_EQ(m_directory.Run({"--rate", "20"}).exitStatus, 0);
  const std::vector<Clock::time_point> times = m_server.GetTimes();
  ASSERT_EQ(times.size(), 31U);
  EXPECT_GE(times.back() - times.front(), 1400ms);
  EXPECT_LT(times.back() - times.front(), 2500ms);
  for (std::size_t i = 10; i < times.size(); ++i) {
    EXPECT_GE(times[i] - times[i - 10], 400ms) << i;  // half a second if no question is late
  }
}

}  // namespace
