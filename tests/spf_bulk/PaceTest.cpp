#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "programs/spf-bulk/Pace.h"

namespace {

using namespace std::chrono_literals;

TEST(PaceTest, TurnsAreSpacedEvenly) {
  Pace pace(100ms);
  const Pace::Clock::time_point first = pace.TakeTurn();
  EXPECT_LE(first, Pace::Clock::now());
  EXPECT_EQ(pace.TakeTurn() - first, 100ms);
  EXPECT_EQ(pace.TakeTurn() - first, 200ms);
}

TEST(PaceTest, MissedTurnsAreNotMadeUpFor) {
  Pace pace(10ms);
  pace.TakeTurn();
  std::this_thread::sleep_for(100ms);
  const Pace::Clock::time_point now = Pace::Clock::now();
  const Pace::Clock::time_point turn = pace.TakeTurn();
  EXPECT_GE(turn, now);
  EXPECT_EQ(pace.TakeTurn() - turn, 10ms);
}

}  // namespace
