#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

#include "programs/spf-bulk/LoadLimit.h"

namespace {

using Clock = LoadLimit::Clock;
using namespace std::chrono_literals;

// A name server that gives an answer after some time, and no more than so many a second.
struct Server {
  double latency;  // seconds
  double most;     // answers a second
};

// Lets checks end as the server answers them, for some time from `now` on.
void Serve(LoadLimit& limit, const Server& server, Clock::time_point& now, Clock::duration time) {
  const Clock::time_point end = now + time;
  while (now < end) {
    const double rate = std::min(limit.Get() / server.latency, server.most);
    now += std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1 / rate));
    limit.OnEnd(now);
  }
}

TEST(LoadLimitTest, AFewAreMadeAtOnceFromTheBeginning) {
  EXPECT_EQ(LoadLimit(1).Get(), 1U);
  EXPECT_EQ(LoadLimit(16).Get(), 16U);
  EXPECT_EQ(LoadLimit(64).Get(), 64U);
  EXPECT_EQ(LoadLimit(900).Get(), 64U);
}

TEST(LoadLimitTest, MoreAreMadeWhereTheyMakeItFaster) {
  LoadLimit limit(900);
  Clock::time_point now = Clock::now();
  Serve(limit, {0.02, 1e9}, now, 1s);
  EXPECT_EQ(limit.Get(), 900U);
}

TEST(LoadLimitTest, NoMoreAreMadeWhereTheServerIsAtItsBest) {
  LoadLimit limit(900);
  Clock::time_point now = Clock::now();
  Serve(limit, {0.0001, 50000}, now, 1s);
  EXPECT_EQ(limit.Get(), 64U);
}

TEST(LoadLimitTest, ItGrowsUpToWhatTheServerCanDo) {
  LoadLimit limit(900);
  Clock::time_point now = Clock::now();
  Serve(limit, {0.02, 12000}, now, 1s);  // 240 at once are enough
  EXPECT_EQ(limit.Get(), 256U);
}

TEST(LoadLimitTest, ATrialThatWasInVainIsMadeAgainLater) {
  LoadLimit limit(900);
  Clock::time_point now = Clock::now();
  Serve(limit, {0.0001, 50000}, now, 4s);
  EXPECT_EQ(limit.Get(), 64U);
  Serve(limit, {0.02, 1e9}, now, 3s);
  EXPECT_EQ(limit.Get(), 900U);
}

TEST(LoadLimitTest, ALossHalvesTheNumberForAMinute) {
  LoadLimit limit(256);
  Clock::time_point now = Clock::now();
  Serve(limit, {0.02, 1e9}, now, 1s);
  ASSERT_EQ(limit.Get(), 256U);
  limit.OnLoss(now - 5s, now);
  EXPECT_EQ(limit.Get(), 128U);
  Serve(limit, {0.02, 1e9}, now, 59s);
  EXPECT_EQ(limit.Get(), 128U);
  Serve(limit, {0.02, 1e9}, now, 3s);
  EXPECT_EQ(limit.Get(), 256U);
}

TEST(LoadLimitTest, LossesOfOneTimeCountOnce) {
  LoadLimit limit(64);
  const Clock::time_point now = Clock::now();
  limit.OnLoss(now, now + 5s);
  limit.OnLoss(now + 1s, now + 6s);
  EXPECT_EQ(limit.Get(), 32U);
  limit.OnLoss(now + 7s, now + 12s);
  EXPECT_EQ(limit.Get(), 16U);
}

TEST(LoadLimitTest, OneIsAlwaysAllowed) {
  LoadLimit limit(2);
  const Clock::time_point now = Clock::now();
  limit.OnLoss(now, now + 1s);
  limit.OnLoss(now + 2s, now + 3s);
  limit.OnLoss(now + 4s, now + 5s);
  EXPECT_EQ(limit.Get(), 1U);
}

}  // namespace
