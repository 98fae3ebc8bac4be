// The main() of tests that log in to hosts: sshd needs the users of the machine.

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <string_view>

#include "tests/spf_bulk/hosts/SshHosts.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/Skip.h"

namespace {

void SkipWithoutPrograms() {
  for (const std::string& program :
       {std::string("ssh"), std::string("ssh-keygen"), std::string("parallel"),
        std::string("rsync"), SshHosts::FindServerProgram()}) {
    if (std::system(("command -v " + program + " > /dev/null").c_str()) != 0) {
      Skip(program + " is missing");
    }
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  const bool isListing = argc > 1 && std::string_view(argv[1]).starts_with("--gtest_list_tests");
  if (!isListing) {
    SkipWithoutPrograms();
    EnterPrivateMachine(argv);
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
