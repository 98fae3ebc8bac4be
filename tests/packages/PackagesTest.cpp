// The contents of the packages.

#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "tests/support/Shell.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

const std::string kPackages = PROJECT_ROOT "/build/packages/";
const std::string kTool = kPackages + "spfcheck_*.deb";
const std::string kService = kPackages + "spf-policyd_*.deb";
const std::string kDevelopment = kPackages + "libfwk-dev_*.deb";

std::string Ask(const std::string& script) {
  return OutputOf("export LC_ALL=C; set -o pipefail; " + script, PROJECT_ROOT, 110);
}

// Returns the files of a package, each path changed by the sed command `change`.
std::string FilesOf(const std::string& package, const std::string& change = "") {
  return Ask("dpkg-deb --fsys-tarfile " + package +
             " | tar -t | grep -v '/$' | sed -nE 's#^\\./#/#" +
             (change.empty() ? "p" : "; " + change) + "' | sort");
}

std::string FieldOf(const std::string& package, const std::string& field) {
  const std::string value = Ask("dpkg-deb -f " + package + " " + field);
  return value.substr(0, value.find('\n'));
}

class PackagesTest : public testing::Test {
 protected:
  PackagesTest() { NeedPrograms({"dpkg", "dh"}); }

  // Unpacks packages to a directory.
  std::string Unpack(const std::string& packages) const {
    Ask("for package in " + packages + "; do dpkg-deb -x \"$package\" " + m_directory.Path() +
        "; done");
    return m_directory.Path();
  }

  TemporaryDirectory m_directory;
};

}  // namespace

TEST_F(PackagesTest, EachPackageOfTheListIsMade) {
  EXPECT_EQ(
      Ask("for package in build/packages/*.deb; do dpkg-deb -f $package Package; done | sort"),
      Ask("sed -n 's/^Package: //p' packaging/control | sort"));
}

TEST_F(PackagesTest, ThePackageOfTheToolHasItsFiles) {
  EXPECT_EQ(FilesOf(kTool),
            Lines({"/usr/bin/spf-bulk", "/usr/bin/spf-may-send", "/usr/bin/spfcheck",
                   "/usr/share/bash-completion/completions/spf-bulk",
                   "/usr/share/bash-completion/completions/spf-may-send",
                   "/usr/share/bash-completion/completions/spfcheck",
                   "/usr/share/doc/spfcheck/CHANGELOG.md", "/usr/share/doc/spfcheck/SECURITY.md",
                   "/usr/share/doc/spfcheck/changelog.gz", "/usr/share/doc/spfcheck/copyright",
                   "/usr/share/doc/spfcheck/docs/bulk.md", "/usr/share/lintian/overrides/spfcheck",
                   "/usr/share/man/man1/spf-bulk.1.gz", "/usr/share/man/man1/spf-may-send.1.gz",
                   "/usr/share/man/man1/spfcheck.1.gz"}));
}

TEST_F(PackagesTest, ThePackageOfThePolicyServiceHasItsUnitsAndSettings) {
  EXPECT_EQ(
      FilesOf(kService),
      Lines({"/etc/spf-policyd.conf", "/lib/systemd/system/spf-policyd.service",
             "/lib/systemd/system/spf-policyd.socket", "/usr/lib/tmpfiles.d/spf-policyd.conf",
             "/usr/sbin/spf-policyd", "/usr/share/doc/spf-policyd/changelog.gz",
             "/usr/share/doc/spf-policyd/copyright", "/usr/share/lintian/overrides/spf-policyd",
             "/usr/share/man/man5/spf-policyd.conf.5.gz", "/usr/share/man/man8/spf-policyd.8.gz"}));
}

TEST_F(PackagesTest, AnUpgradeOfThePolicyServiceKeepsItsSettingsAndRestartsIt) {
  const std::string scripts = m_directory.Path("scripts");
  Ask("dpkg-deb -e " + kService + " " + scripts);
  EXPECT_EQ(m_directory.Read("scripts/conffiles"), "/etc/spf-policyd.conf\n");
  EXPECT_EQ(Ask("grep -oE \"(try-restart|restart|start) '[^>]*'\" " + scripts + "/postinst"),
            "try-restart 'spf-policyd.service'\n");
  EXPECT_EQ(Ask("grep -oE 'stop spf-policyd[^>]*[a-z]' " + scripts + "/prerm"),
            "stop spf-policyd.socket spf-policyd.service\n");
}

TEST_F(PackagesTest, ThePackageForProgrammersHasEachPublicHeaderUnderItsPath) {
  EXPECT_EQ(FilesOf(kDevelopment, "s#^/usr/include/fwk/##p"),
            Ask("grep -L '^// Internal to ' framework/*/*.h tool/*.h | sort"));
}

TEST_F(PackagesTest, ThePackageForProgrammersHasTheExamples) {
  EXPECT_EQ(FilesOf(kDevelopment, "s#^/usr/share/doc/spfcheck/examples#examples#p"),
            Ask("find examples -name '*.h' -o -name '*.cpp' | sort"));
}

TEST_F(PackagesTest, ThePackageForProgrammersHasTheLibrariesAndHowToFindThem) {
  EXPECT_EQ(
      FilesOf(kDevelopment,
              "/^\\/usr\\/include\\/|\\/examples\\//d; s#^/usr/lib(/[^/]*-linux-gnu)?/#LIB/#; p"),
      Lines({"/usr/share/doc/libfwk-dev/changelog.gz", "/usr/share/doc/libfwk-dev/copyright",
             "/usr/share/doc/spfcheck/docs/architecture.md",
             "/usr/share/doc/spfcheck/docs/embedding.md", "/usr/share/lintian/overrides/libfwk-dev",
             "/usr/share/man/man3/fwk.3.gz", "LIB/cmake/fwk/fwkConfig.cmake",
             "LIB/cmake/fwk/fwkConfigVersion.cmake", "LIB/cmake/fwk/fwkTargets-release.cmake",
             "LIB/cmake/fwk/fwkTargets.cmake", "LIB/libfwk.a", "LIB/libspf.a",
             "LIB/pkgconfig/fwk.pc", "LIB/pkgconfig/spf.pc"}));
}

TEST_F(PackagesTest, ThePackagesHaveTheirVersionAndNeedNoOthers) {
  const std::string version = FieldOf(kTool, "Version");
  EXPECT_EQ(version.substr(0, version.find('+')), PROJECT_VERSION);
  EXPECT_EQ(FieldOf(kDevelopment, "Version"), version);
  EXPECT_EQ(FieldOf(kTool, "Depends"), "");  // linked statically
  EXPECT_EQ(FieldOf(kTool, "Recommends"), "");
  EXPECT_EQ(FieldOf(kTool, "Suggests"), "libfwk-dev, parallel");
  EXPECT_EQ(FieldOf(kDevelopment, "Depends"), "");
}

TEST_F(PackagesTest, AllUsersMayReadTheFiles) {
  EXPECT_EQ(
      Ask("for package in build/packages/*.deb; do dpkg-deb -c $package; done | "
          "{ grep -Ev '^(drwxr-xr-x|-rwxr-xr-x|-rw-r--r--|lrwxrwxrwx) root/root ' || true; }"),
      "");
}

TEST_F(PackagesTest, LintianFindsNoFault) {
  NeedPrograms({"lintian"});
  EXPECT_EQ(Ask("lintian --allow-root build/packages/*.deb 2>&1"), "");
}

TEST_F(PackagesTest, TheProgramsAreHardened) {
  const std::string usr = Unpack(kTool + " " + kService) + "/usr/";
  for (const std::string program : {"bin/spfcheck", "bin/spf-may-send", "sbin/spf-policyd"}) {
    const std::string headers = Ask("readelf -hldW " + usr + program);
    const auto has = [&headers](const std::string& pattern) {
      return std::regex_search(headers, std::regex(pattern));
    };
    EXPECT_TRUE(has("Type: +DYN")) << "position independent";
    EXPECT_FALSE(has("INTERP")) << "no loader";
    EXPECT_TRUE(has("GNU_RELRO( +0x[0-9a-f]+){5} R +0x")) << "relocations read-only";
    EXPECT_TRUE(has("Flags: NOW")) << "bound at once";
    EXPECT_TRUE(has("GNU_STACK( +0x[0-9a-f]+){5} RW +0x")) << "no code on the stack";
  }
}

TEST_F(PackagesTest, TheChangelogBeginsWithTheVersion) {
  EXPECT_EQ(Ask("sed -n 's/^## \\([0-9.]*\\) - [0-9-]*$/\\1/p' CHANGELOG.md | head -n 1"),
            PROJECT_VERSION "\n");
}

// The paths of links are the same as in the checkout.
TEST_F(PackagesTest, EachLinkOfAnInstalledDocumentLeadsToAFile) {
  const std::string documents = Unpack("build/packages/*.deb") + "/usr/share/doc";
  EXPECT_EQ(Ask("find " + documents + R"( -name '*.md' | grep . | while read -r document; do
      tr '\n' ' ' < "$document" | grep -oE '\]\([^) #]+' | sed 's/^](//' | grep -v '^[a-z]*:' |
        while read -r link; do
          [ -e "${document%/*}/$link" ] || echo "$document: $link"
        done || true
    done)"),
            "");
}
