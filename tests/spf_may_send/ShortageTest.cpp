// Memory and descriptors that run out.

#include <gtest/gtest.h>

#include <string>

#include "tests/spf_may_send/MaySendRun.h"
#include "tests/support/Text.h"

TEST(ShortageTest, WithoutADescriptorThereIsNoVerdict) {
  MaySendRun run({"-s", "127.0.0.1", "192.0.2.7", "example.org"}, "ulimit -n 3; exec \"$@\"");
  EXPECT_EQ(run.GetStatus(), kNoVerdict);
  EXPECT_EQ(run.GetOutput(),
            "no verdict: no socket for a look-up: Socket::CreateSocket - socket :: failed with "
            "code 24: Too many open files\n");
}

TEST(ShortageTest, WithoutMemoryThereIsNoVerdict) {
  const std::string record = "v=spf1" + Repeat(" ip4:192.0.2.1", 8000);
  MaySendRun run({"-e", "-r", record, "192.0.2.7", "example.org"}, "ulimit -v 4000; exec \"$@\"");
  EXPECT_EQ(run.GetStatus(), kNoVerdict);
  EXPECT_EQ(run.GetOutput(), "");
  EXPECT_EQ(run.GetErrors(), "spf-may-send: out of memory\n");
}
