// The main() of tests with a real Postfix, which needs root to become its own users.

#include <gtest/gtest.h>

#include <filesystem>
#include <string_view>

#include "tests/spf_policyd/RunningPostfix.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/Skip.h"

int main(int argc, char* argv[]) {
  const bool listing = argc > 1 && std::string_view(argv[1]).starts_with("--gtest_list_tests");
  if (!listing) {
    if (!std::filesystem::exists(RunningPostfix::Directory() + "/usr/lib/postfix/sbin/master")) {
      Skip("Postfix is missing");
    }
    EnterPrivateMachine(argv);
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
