// A machine that has the packages and nothing else of this project.

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "tests/support/CleanMachine.h"
#include "tests/support/RealNameServer.h"
#include "tests/support/Shell.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

class InstalledTest : public testing::Test {
 protected:
  InstalledTest() {
    NeedPrograms({"g++", "cmake", "ninja", "dpkg", "pkg-config", "man"});
    EnterCleanMachine();
    m_server.emplace(Server::kNsd);
    InstallPackages();
  }

  std::string Ask(const std::string& script) const {
    return OutputOf(script, m_directory.Path(), 250);
  }

  TemporaryDirectory m_directory;
  std::optional<RealNameServer> m_server;
};

// Functions of bash that run the commands in the comment at the top of an example.
constexpr char kReadExample[] = R"sh(
  said_to() {
    awk -v command="$1" '!/^\/\// { exit } sub(/^\/\/ +/, "") && index($0, command) == 1' "$2"
  }
  build_example() { (cd examples && eval "$(said_to c++ "$1.cpp")"); }
  run_example() { (cd examples && eval "exec timeout 200 $(said_to ./ "$1.cpp")"); }
)sh";

}  // namespace

TEST_F(InstalledTest, TheManualPagesAreFound) {
  EXPECT_EQ(Ask("man -w spfcheck spf-may-send && man -w 3 fwk"),
            "/usr/share/man/man1/spfcheck.1.gz\n/usr/share/man/man1/spf-may-send.1.gz\n"
            "/usr/share/man/man3/fwk.3.gz\n");
  EXPECT_NE(Ask("man spfcheck").find("spfcheck " PROJECT_VERSION), std::string::npos);
}

TEST_F(InstalledTest, TheExamplesAreBuiltAndRunAsTheirCommentsSay) {
  Ask("cp -r /usr/share/doc/spfcheck/examples . && mkdir -p /var/log/greylog");
  EXPECT_EQ(Ask(kReadExample + std::string("build_example blocklist && run_example blocklist")),
            "lists.example.org: not listed\n");
  EXPECT_EQ(Ask(kReadExample + std::string("build_example greylog && run_example greylog")), "");
  EXPECT_EQ(Ask("sed -n '$s/.*: //p' /var/log/greylog/current.log"), "greylog ends\n");
  EXPECT_NE(Ask(kReadExample + std::string(R"sh(
              build_example echo_server && build_example echo_probe || exit
              run_example echo_server > server.out 2>&1 & server=$!
              for ((i = 0; i < 500; i++)); do
                ! grep -q ' 00000000:1B5F ' /proc/net/udp || break; sleep 0.1
              done
              run_example echo_probe; status=$?
              kill $server; exit $status)sh"))
                .find(" answered in "),
            std::string::npos);
}

TEST_F(InstalledTest, PkgConfigTellsVersionAndHeaders) {
  EXPECT_EQ(Ask("pkg-config --modversion fwk && pkg-config --variable=includedir fwk"),
            PROJECT_VERSION "\n/usr/include\n");
}

TEST_F(InstalledTest, AProjectThatWantsAnotherMinorVersionIsRefused) {
  const ChildResult result =
      RunShell("next=$(awk -F . '{ print $1 \".\" $2 + 1 }' <<< " PROJECT_VERSION
               "); "
               "sed \"s/find_package(fwk /&$next /\" " PROJECT_ROOT
               "/tests/consumer/CMakeLists.txt > CMakeLists.txt; LC_ALL=C cmake -G Ninja .",
               m_directory.Path());
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_NE(result.standardError.find("with requested version \""), std::string::npos)
      << result.standardError;
}
