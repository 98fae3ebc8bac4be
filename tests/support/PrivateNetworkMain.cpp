// The main() of test programs that need a private network.

#include <gtest/gtest.h>

#include <string_view>

#include "tests/support/PrivateNetwork.h"

int main(int argc, char* argv[]) {
  const bool listing = argc > 1 && std::string_view(argv[1]).starts_with("--gtest_list_tests");
  if (!listing) {
    EnterPrivateNetwork(argv);
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
