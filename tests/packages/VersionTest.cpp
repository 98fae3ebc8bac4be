// The version of packages that are made from a checkout.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/Shell.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

// Has a checkout in the directory `checkout`.
class VersionTest : public testing::Test {
 protected:
  VersionTest() {
    NeedPrograms({"git"});
    Ask("mkdir -p checkout/packaging checkout/framework/core");
    Ask("cp " PROJECT_ROOT "/packaging/version checkout/packaging/");
    m_directory.Write("checkout/framework/core/Version.h", "#define FWK_VERSION \"0.1.0\"\n");
    m_directory.Write("checkout/CHANGELOG.md", "# Changelog\n\n## 0.1.0 - 2026-11-21\n");
  }

  std::string Ask(const std::string& script) const {
    return OutputOf("export GIT_CONFIG_GLOBAL=/dev/null GIT_CONFIG_SYSTEM=/dev/null; " + script,
                    m_directory.Path(), 880);
  }

  // Commits all files of a checkout. Returns the commit's short hash.
  std::string Commit(const std::string& date, const std::string& checkout = "checkout") const {
    const std::string hash =
        Ask("export GIT_AUTHOR_DATE=" + date + " GIT_COMMITTER_DATE=" + date + "; git init -q " +
            checkout + "; cd " + checkout +
            "; git add -A && git -c user.name=a -c user.email=a@example.org commit -q "
            "--allow-empty -m change && git rev-parse HEAD");
    return hash.substr(0, 7);
  }

  void Touch(const std::string& date, const std::string& files) const {
    Ask("touch -d " + date + " " + files);
  }

  // Returns version and time as the script prints them.
  std::string Version() const { return Ask("checkout/packaging/version"); }

  std::string VersionAlone() const {
    const std::string version = Version();
    return version.substr(0, version.find(' '));
  }

  TemporaryDirectory m_directory;
};

}  // namespace

TEST_F(VersionTest, WithoutGitItIsThatOfTheProjectFromTheDayInTheChangelog) {
  EXPECT_EQ(Version(), "0.1.0 1795219200\n");
}

TEST_F(VersionTest, ARepositoryAroundTheCheckoutIsIgnored) {
  Ask("git init -q .");
  EXPECT_EQ(Version(), "0.1.0 1795219200\n");
}

TEST_F(VersionTest, ACommitAddsItsTimeInUTCAndItsHash) {
  const std::string hash = Commit("2026-11-22T00:08:59+05:00");
  EXPECT_EQ(Version(), "0.1.0+20261121.1908." + hash + " 1795288139\n");
}

TEST_F(VersionTest, ChangedFilesAddTheTimeOfTheNewestChange) {
  const std::string committed = "0.1.0+20261121.1908." + Commit("2026-11-21T19:08:59Z");
  Ask("echo >> checkout/CHANGELOG.md");
  Touch("2026-11-21T20:10:11Z", "checkout/CHANGELOG.md");
  Touch("2026-11-21T20:10:12Z", "checkout/framework/core/Version.h");
  EXPECT_EQ(VersionAlone(), committed + ".local.20261121.201011");
  Touch("2026-11-21T20:10:12Z", "$'checkout/a new\\nfile'");
  EXPECT_EQ(Version(), committed + ".local.20261121.201012 1795291812\n");
}

TEST_F(VersionTest, ARemovedFileHasTheTimeOfItsDirectory) {
  Commit("2026-11-21T19:08:59Z");
  Ask("mkdir checkout/folder && touch checkout/folder/{a,b}");
  const std::string committed = "0.1.0+20261121.1910." + Commit("2026-11-21T19:10:59Z");
  Ask("rm checkout/folder/a");
  Touch("2026-11-21T20:10:11Z", "checkout/folder");
  EXPECT_EQ(VersionAlone(), committed + ".local.20261121.201011");
  Ask("rm -r checkout/folder");
  Touch("2026-11-21T20:10:12Z", "checkout");
  EXPECT_EQ(VersionAlone(), committed + ".local.20261121.201012");
}

TEST_F(VersionTest, EachIsAnUpgradeOfTheOneBefore) {
  std::vector<std::string> versions = {VersionAlone()};
  Commit("2026-11-21T19:08:59Z");
  versions.push_back(VersionAlone());
  Touch("2026-11-21T19:08:59Z", "checkout/new");
  versions.push_back(VersionAlone());
  Commit("2026-11-21T19:10:00Z");
  versions.push_back(VersionAlone());
  Ask("sed -i 's/0[.]1[.]0/0.1.1/' checkout/framework/core/Version.h");
  Commit("2026-11-21T19:10:00Z");
  versions.push_back(VersionAlone());
  for (std::size_t i = 1; i < versions.size(); ++i) {
    Ask("dpkg --compare-versions " + versions[i - 1] + " lt " + versions[i]);
  }
}

// The second checkout has another place, time zone, mask and time of its files.
TEST_F(VersionTest, TheSameCommitGivesTheSamePackagesAndALaterOneUpgrades) {
  NeedPrograms({"g++", "cmake", "ninja", "flock", "dpkg", "dh"});
  const std::string asked = "dpkg-deb -f first/build/packages/spfcheck_*.deb ";
  Ask("mkdir first; tar -C " PROJECT_ROOT
      " --exclude=./build --exclude=./.git -c . | tar -C first -x");
  Commit("2026-11-21T19:08:59Z", "first");
  Ask("git clone -q first 'the second'; touch -d 2026-11-20 $(git -C first ls-files | sed "
      "s,^,first/,)");
  Ask("first/scripts/package 2>&1");
  Ask("umask 077; TZ=Asia/Tokyo 'the second/scripts/package' 2>&1");
  Ask("for package in first/build/packages/*.deb; do "
      "cmp \"$package\" \"the second/build/packages/${package##*/}\" || exit; done");

  Ask(asked + "> status; echo 'Status: install ok installed' >> status");
  const std::string before = Ask(asked + "Version");
  Commit("2026-11-21T19:10:00Z", "first");
  Ask("first/scripts/package 2>&1; mkdir -p state/lists/partial cache/archives/partial");
  const std::string plan =
      Ask("apt-get -s -q -o Dir::State=$PWD/state -o Dir::State::status=$PWD/status "
          "-o Dir::Cache=$PWD/cache -o Dir::Etc::sourcelist=/dev/null "
          "-o Dir::Etc::sourceparts=/dev/null install ./first/build/packages/spfcheck_*.deb");
  const std::string wanted = "Inst spfcheck [" + before.substr(0, before.size() - 1) + "] (" +
                             Ask(asked + "Version | tr -d '\\n'");
  EXPECT_NE(plan.find(wanted), std::string::npos) << wanted << "\n" << plan;
}
