// A build that `cmake --install` has installed, and projects that add the sources to their own.

#include <gtest/gtest.h>

#include <string>

#include "tests/support/RealNameServer.h"
#include "tests/support/Shell.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

class InstallTest : public testing::Test {
 protected:
  InstallTest() {
    NeedPrograms({"cmake", "ninja", "pkg-config"});
    Ask("cmake --install " BUILD_DIRECTORY " --prefix " + m_place);
  }

  std::string Ask(const std::string& script) const {
    return OutputOf(script, m_directory.Path(), 280);
  }

  // Expects the program of tests/consumer, which was built here, to work.
  void ExpectConsumerToWork(const std::string& environment) const {
    EXPECT_EQ(Ask(environment + " ./consumer example.org 192.0.2.26"),
              Lines({PROJECT_VERSION, "192.0.2.25", "192.0.2.26",
                     "UDPSocket::Connect - inet_addr() failed", "passed"}));
    EXPECT_EQ(m_directory.Read("consumer-current.log"), "Info: asked for example.org\n");
  }

  TemporaryDirectory m_directory;
  const std::string m_place = m_directory.Path("place");
  const RealNameServer m_server{Server::kNsd};
};

class AProjectAroundTheSources : public testing::Test {
 protected:
  AProjectAroundTheSources() {
    NeedPrograms({"cmake", "ninja"});
    Configure("", "");
  }

  // Configures a project that has a test of its own, with further `lines` and `options`.
  void Configure(const std::string& lines, const std::string& options) const {
    m_directory.Write("CMakeLists.txt",
                      "cmake_minimum_required(VERSION 3.25)\n"
                      "project(around LANGUAGES CXX)\n"
                      "add_subdirectory(\"" PROJECT_ROOT
                      "\" fwk)\n"
                      "include(CTest)\n"
                      "add_test(NAME own COMMAND true)\n" +
                          lines);
    Ask("cmake -G Ninja -B build " + options + " .");
  }

  std::string Ask(const std::string& script) const {
    return OutputOf(script, m_directory.Path(), 280);
  }

  // Returns which of one program and one example the build has.
  std::string ProgramsBuilt() const {
    return Ask("ninja -C build -t targets all | grep -oE '^(echo_server|spfcheck):' | sort");
  }

  TemporaryDirectory m_directory;
};

}  // namespace

TEST_F(InstallTest, TheProgramRunsFromAnyPlace) {
  EXPECT_EQ(Ask("place/bin/spfcheck example.org 192.0.2.1 | tail -n 1"), "SPFCheck::failed \n");
}

TEST_F(InstallTest, EachHeaderCompilesAlone) {
  Ask("cd place/include/fwk; find . -name '*.h' -printf '%P\\n' > headers; "
      "xargs -P $(nproc) -I HEADER c++ -std=c++20 -Wall -Wextra -Werror -fsyntax-only -I. "
      "-include HEADER -x c++ /dev/null < headers 2>&1");
  EXPECT_GT(std::stoi(Ask("wc -l < place/include/fwk/headers")), 30);
}

TEST_F(InstallTest, AProgramBuildsByCMakesPackageFromAnyPlace) {
  Ask("cmake -G Ninja -S " PROJECT_ROOT "/tests/consumer -B . -DCMAKE_PREFIX_PATH=" + m_place +
      " && cmake --build .");
  ExpectConsumerToWork("");
}

TEST_F(InstallTest, AProgramBuildsByPkgConfigFromAnyPlace) {
  std::string libraries = Ask("dirname \"$(find \"$PWD/place\" -name 'libfwk.*' | head -n 1)\"");
  libraries.pop_back();
  const std::string environment =
      "PKG_CONFIG_PATH=" + libraries + "/pkgconfig LD_LIBRARY_PATH=" + libraries;
  EXPECT_EQ(Ask("export " + environment +
                "; pkg-config --cflags --libs fwk | grep -oE -- '-[IL][^ ]+' | paste -s -d ' '"),
            "-I" + m_place + "/include/fwk -L" + libraries + "\n");
  Ask("export " + environment +
      "; c++ -std=c++20 " PROJECT_ROOT
      "/tests/consumer/consumer.cpp -o consumer $(pkg-config --cflags --libs spf)");
  ExpectConsumerToWork(environment);
}

TEST_F(AProjectAroundTheSources, KeepsItsOwnSettings) {
  EXPECT_EQ(Ask("ctest --test-dir build -N | tail -n 1"), "Total Tests: 1\n");
  EXPECT_EQ(Ask("grep ^CMAKE_BUILD_TYPE: build/CMakeCache.txt"), "CMAKE_BUILD_TYPE:STRING=\n");
}

TEST_F(AProjectAroundTheSources, BuildsAndInstallsTheLibrariesAlone) {
  Configure("add_executable(consumer \"" PROJECT_ROOT
            "/tests/consumer/consumer.cpp\")\n"
            "target_link_libraries(consumer PRIVATE fwk::spf)\n",
            "");
  Ask("cmake --build build && cmake --install build --prefix around");
  EXPECT_EQ(Ask("find build -name CMakeFiles -prune -o -type f -perm -u+x ! -name '*.so*' "
                "-printf '%f\\n'"),
            "consumer\n");
  EXPECT_EQ(Ask("ls around"), "include\nlib\n");
}

TEST_F(AProjectAroundTheSources, GetsTheProgramsIfItAsks) {
  Configure("", "-DSPFCHECK_PROGRAMS=ON");
  EXPECT_EQ(ProgramsBuilt(), "spfcheck:\n");
  Configure("", "-DSPFCHECK_EXAMPLES=ON");
  EXPECT_EQ(ProgramsBuilt(), "echo_server:\nspfcheck:\n");
}
