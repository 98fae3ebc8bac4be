// How scripts/run and scripts/test install missing packages, build, and run.

#include "tests/scripts/FakeMachine.h"
#include "tests/support/Shell.h"

namespace {

using Calls = std::vector<std::string>;

const std::string kUpdate = kAptGet + "update";
const std::string kBuildTool = "cmake --build build/release --target spfcheck -- --quiet";
const std::string kBuildAll = "cmake --build build/release --target all -- --quiet";
const std::string kRunTool = "spfcheck ";
const std::string kRunTests = "ctest --preset release -j 5";

class SetUpTest : public FakeMachine {
 protected:
  // Expects the calls of `line`.
  ChildResult Expect(const Calls& calls, const std::string& line) const {
    const ChildResult result = Run(line);
    EXPECT_EQ(TakeCalls(), calls) << line;
    return result;
  }

  // Expects `line` to fail with status 2, and `said` as its last line.
  void ExpectFailure(const std::string& said, const std::string& line) const {
    const ChildResult result = Run(line);
    EXPECT_EQ(result.exitStatus, 2) << line;
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_EQ(LastLine(result.standardError), said + "\n");
  }

  // Makes a package that holds a server and depends on libraries.
  void MakeServerPackage() const {
    MakeNotedCommand("bin/dpkg-deb", R"(case $1 in
      -f) echo 'libc6 (>= 2.36), adduser, libssl3 (>= 3.0.0), nsd-libs (= 1), debconf' ;;
      -x) mkdir -p "$3/usr/sbin"; cp $machine/tool/spfcheck "$3/usr/sbin/nsd" ;;
    esac)");
  }
};

}  // namespace

TEST_F(SetUpTest, MissingPackagesAreInstalledThenTheToolIsBuiltAndRun) {
  TakeAway("g++ cmake ninja flock");
  const ChildResult result =
      Expect({kUpdate, Install("g++ cmake ninja-build util-linux"), Configure("release", "OFF"),
              kBuildTool, "spfcheck example.org a  b"},
             "scripts/run example.org 'a  b'");
  EXPECT_EQ(result.exitStatus, 7);
  EXPECT_EQ(result.standardOutput, "verdict\n");
  EXPECT_EQ(result.standardError.find("installing: g++ cmake ninja-build util-linux\n"), 0U);
}

TEST_F(SetUpTest, OnlyMissingPackagesAreInstalled) {
  TakeAway("ninja");
  const ChildResult result =
      Expect({kUpdate, Install("ninja-build"), Configure("release", "OFF"), kBuildTool, kRunTool},
             "scripts/run");
  EXPECT_EQ(result.standardError,
            Lines({"installing: ninja-build", "noise", "noise", "noise", "noise"}));
}

TEST_F(SetUpTest, ASecondCallOnlyBuildsAndRuns) {
  Expect({Configure("release", "OFF"), kBuildTool, kRunTool}, "scripts/run");
  Expect({kBuildTool, kRunTool}, "scripts/run");
}

TEST_F(SetUpTest, PackagesAreInstalledWithoutQuestions) {
  TakeAway("ninja");
  MakeCommand("bin/apt-get",
              "echo $DEBIAN_FRONTEND >> $machine/calls; cp $machine/store/* $machine/bin");
  Run("scripts/run");
  EXPECT_EQ(TakeCalls().at(0), "noninteractive");
}

TEST_F(SetUpTest, WhoIsNotRootInstallsThroughSudo) {
  TakeAway("ninja");
  MakeCommand("bin/id", "echo 1000");
  MakeNotedCommand("bin/sudo", "exec \"$@\"");
  const std::string sudo = "sudo env DEBIAN_FRONTEND=noninteractive ";
  const std::string install = Install("ninja-build");
  Expect({sudo + kUpdate, kUpdate, sudo + install, install, Configure("release", "OFF"), kBuildTool,
          kRunTool},
         "scripts/run");
}

TEST_F(SetUpTest, WhoIsNotRootAndHasNoSudoReadsWhichPackagesAreMissing) {
  TakeAway("ninja g++");
  MakeCommand("bin/id", "echo 1000");
  ExpectFailure("run: missing packages, to be installed by an administrator: g++ ninja-build",
                "scripts/run");
  EXPECT_EQ(TakeCalls(), Calls{});
}

TEST_F(SetUpTest, PackagesAreInstalledEvenAfterAFailedUpdate) {
  TakeAway("ninja");
  MakeCommand("bin/apt-get",
              "case $* in *update) exit 100 ;; *) cp $machine/store/* $machine/bin ;; esac");
  EXPECT_EQ(Run("scripts/run").exitStatus, 7);
}

TEST_F(SetUpTest, PackagesThatCannotBeInstalledEndItWithStatusTwo) {
  TakeAway("ninja");
  MakeNotedCommand("bin/apt-get", "exit 100");
  ExpectFailure("run: these packages could not be installed: ninja-build", "scripts/run");
  EXPECT_EQ(TakeCalls(), (Calls{kUpdate, Install("ninja-build")}));
}

TEST_F(SetUpTest, ABuildThatFailsEndsItWithStatusTwo) {
  const std::string directory = m_directory.Path("build/release");
  MakeCommand("bin/cmake", "[ $1 != --preset ]");
  ExpectFailure("run: could not configure " + directory, "scripts/run");
  MakeCommand("bin/cmake", "[ $1 = --preset ]");
  ExpectFailure("run: could not build " + directory, "scripts/run");
  Do("rm -r build; touch build");
  ExpectFailure("run: could not make " + directory, "scripts/run");
}

TEST_F(SetUpTest, TheTestsOfThePresetAreRunWithoutOneThoseOfTheRelease) {
  EXPECT_EQ(Expect({Configure("release", "ON"), kBuildAll, kRunTests}, "scripts/test").exitStatus,
            8);
  Expect({kBuildAll, "ctest --preset long -j 5"}, "scripts/test long");
  Expect({Configure("asan", "ON"), "cmake --build build/asan --target all -- --quiet",
          "ctest --preset asan -j 5"},
         "scripts/test asan");
  MakeCommand("bin/ctest", "");
  EXPECT_EQ(Run("scripts/test").exitStatus, 0);
}

TEST_F(SetUpTest, ATestRunInstallsTheProgramsThatTestsNeed) {
  MakeCommand("bin/dpkg-query", "echo not-installed");
  TakeAway("unshare");
  Run("scripts/test");
  EXPECT_EQ(TakeCalls().at(1), Install("libgtest-dev util-linux parallel"));
}

TEST_F(SetUpTest, OnlyTheClangPresetNeedsClang) {
  TakeAway("clang++");
  Expect({Configure("release", "ON"), kBuildAll, kRunTests}, "scripts/test");
  Run("scripts/test clang");
  EXPECT_EQ(TakeCalls().at(1), Install("clang"));
}

TEST_F(SetUpTest, ATestRunWithoutGoogleTestInTheBuildConfiguresItAgain) {
  Run("scripts/test");
  Do("rm calls build/release/CTestTestfile.cmake");
  Expect({Configure("release", "ON"), kBuildAll, kRunTests}, "scripts/test");
}

TEST_F(SetUpTest, AnotherArgumentIsAPartOfTheNamesOfTests) {
  const std::string tests = R"(ctest --preset release -R a\.b \[c\+d\]\\)";
  Expect({Configure("release", "ON"), kBuildAll, tests + " -N", tests + " -j 5"},
         R"(scripts/test 'a.b [c+d]\')");
}

TEST_F(SetUpTest, ANameThatNoTestHasEndsTheTestRunWithStatusTwo) {
  MakeCommand("bin/ctest", "echo 'Total Tests: 0'; exit 8");
  ExpectFailure("test: no test of the preset long has \"nosuch\" in its name",
                "scripts/test long nosuch");
}

TEST_F(SetUpTest, ATestRunPrintsItsUsageOnRequest) {
  for (const std::string option : {"--help", "-h"}) {
    const ChildResult result = Expect({}, "scripts/test " + option);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_NE(result.standardOutput.find("\n  scripts/test [PRESET] [NAME]\n"), std::string::npos);
  }
}

TEST_F(SetUpTest, ATestRunWithWrongArgumentsPrintsItsUsage) {
  for (const std::string arguments : {"debug --verbose", "-j4", "a b", "debug a b"}) {
    ExpectFailure("test: usage: scripts/test [PRESET] [NAME]", "scripts/test " + arguments);
    EXPECT_EQ(TakeCalls(), Calls{});
  }
}

TEST_F(SetUpTest, NameServersAreUnpackedBelowTheBuildAndOnlyTheirLibrariesInstalled) {
  TakeAway("ninja");
  Do("rm -r build/servers/nsd");
  MakeServerPackage();
  const std::string libraries = "libc6 (>= 2.36), libssl3 (>= 3.0.0), nsd-libs (= 1)";
  const ChildResult result = Expect(
      {kUpdate, "apt-get -q download nsd", "dpkg-deb -f build/servers/nsd.new/nsd.deb Depends",
       kAptGet + "satisfy " + libraries,
       "dpkg-deb -x build/servers/nsd.new/nsd.deb " + m_directory.Path("build/servers/nsd.new"),
       Install("ninja-build"), Configure("release", "ON"), kBuildAll, kRunTests},
      "scripts/test");
  EXPECT_EQ(result.standardError.find(
                "installing: ninja-build\n"
                "unpacking below build/servers, and installing the libraries of: nsd\n"),
            0U);
  EXPECT_NE(result.standardError.find("installing for nsd: "), std::string::npos);
  Do("test -x build/servers/nsd/usr/sbin/nsd");
}

TEST_F(SetUpTest, AServerOfThisMachineIsUsed) {
  Do("rm -r build/servers/nsd");
  MakeCommand("usr/sbin/nsd", "");
  Expect({Configure("release", "ON"), kBuildAll, kRunTests}, "scripts/test");
}

TEST_F(SetUpTest, AServerThatCannotStartIsUnpackedAgain) {
  MakeCommand("build/servers/nsd/usr/sbin/nsd", "exit 127");  // as without a library
  MakeServerPackage();
  Run("scripts/test");
  EXPECT_EQ(TakeCalls().at(1), "apt-get -q download nsd");
}

TEST_F(SetUpTest, AServerFindsTheLibrariesUnpackedWithIt) {
  MakeCommand("build/servers/postfix/usr/sbin/postconf",
              "[ $LD_LIBRARY_PATH = $machine/build/servers/postfix/usr/lib/postfix ] || exit 127");
  Expect({Configure("release", "ON"), kBuildAll, kRunTests}, "scripts/test");
}

TEST_F(SetUpTest, ABuildDirectoryKeepsItsTests) {
  Expect({Configure("release", "OFF"), kBuildTool, kRunTool}, "scripts/run");
  Expect({Configure("release", "ON"), kBuildAll, kRunTests}, "scripts/test");
  Expect({kBuildTool, kRunTool}, "scripts/run");
}

TEST_F(SetUpTest, InContinuousIntegrationWarningsAreErrorsAndAllIsRequired) {
  Run("scripts/run", "CI=true");
  EXPECT_EQ(TakeCalls().at(0),
            "cmake --preset release -G Ninja -DBUILD_TESTING:BOOL=OFF "
            "-DSPFCHECK_REQUIRE_ALL:BOOL=ON -DSPFCHECK_WARNINGS_AS_ERRORS:BOOL=ON");
}

// A copied build directory used to run the program of the other checkout; a moved one failed.
TEST_F(SetUpTest, ABuildDirectoryOfAnotherCheckoutIsConfiguredAfresh) {
  Run("scripts/run");
  Do("rm calls; mkdir copy; cp -r build scripts copy");
  const Calls calls = {Configure("release", "OFF", "--fresh "),
                       "cmake --build copy/build/release --target spfcheck -- --quiet", kRunTool};
  Expect(calls, "copy/scripts/run");
  Do("mv copy moved");
  EXPECT_EQ(
      Expect({calls[0], "cmake --build moved/build/release --target spfcheck -- --quiet", kRunTool},
             "moved/scripts/run")
          .exitStatus,
      7);
}

TEST_F(SetUpTest, ABuildDirectoryOfMakeIsConfiguredAfresh) {
  Run("scripts/run");
  Do("rm calls; sed -i 's/=Ninja/=Unix Makefiles/' build/release/CMakeCache.txt");
  Expect({Configure("release", "OFF", "--fresh "), kBuildTool, kRunTool}, "scripts/run");
}

TEST_F(SetUpTest, TwoCallsAtOnceBuildOneAfterTheOther) {
  const std::string lock = Do("command -v flock");
  MakeNotedCommand("bin/flock", "real=" + lock +
                                    "$real -n \"$@\" || "
                                    "{ echo waits >> $machine/calls; exec $real \"$@\"; }");
  Do(R"(mkdir -p build/release
    exec 8> build/release/.lock; flock 8
    env -i PATH=$PWD/bin scripts/run 8>&- > out 2>&1 & call=$!
    for ((i = 0; i < 500; i++)); do ! grep -qsx waits calls || break; sleep 0.1; done
    echo "the other one has built" >> calls
    exec 8>&-
    wait $call; [ $? = 7 ])");
  EXPECT_EQ(TakeCalls(), (Calls{"flock 9", "waits", "the other one has built",
                                Configure("release", "OFF"), kBuildTool, kRunTool}));
}
