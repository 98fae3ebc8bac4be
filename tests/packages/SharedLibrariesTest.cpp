// The shared libraries of a build, installed.

#include <gtest/gtest.h>

#include <string>

#include "tests/support/Shell.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

class SharedLibrariesTest : public testing::Test {
 protected:
  SharedLibrariesTest() { Ask("cmake --install " BUILD_DIRECTORY " --prefix place"); }

  std::string Ask(const std::string& script) const { return OutputOf(script, m_directory.Path()); }

  TemporaryDirectory m_directory;
};

}  // namespace

TEST_F(SharedLibrariesTest, TheyHaveTheirVersion) {
  const std::string version = PROJECT_VERSION;
  const std::string minor = version.substr(0, version.rfind('.'));
  for (const std::string library : {"libfwk.so", "libspf.so"}) {
    EXPECT_EQ(
        Ask("cd \"$(dirname \"$(find place -name " + library + ")\")\"; readlink " + library + " " +
            library + "." + minor + "; objdump -p " + library + " | awk '/SONAME/ { print $2 }'"),
        Lines({library + "." + minor, library + "." + version, library + "." + minor}));
  }
}

// Each symbol of a library, except weak ones (templates of the standard library), is a class, a
// function or a variable that a header exports.
TEST_F(SharedLibrariesTest, TheyHideWhatNoHeaderExports) {
  Ask("grep -rhoE --include='*.h' 'FWK_EXPORT [^;{]*' " PROJECT_ROOT "/framework " PROJECT_ROOT
      "/tool | tr -cs 'A-Za-z0-9_' '\\n' | sort -u > exported");
  Ask(R"(find place -name 'lib*.so' -exec nm -DC --defined-only {} + |
      awk '$2 ~ /^[TDBR]$/' | cut -d ' ' -f 3- |
      sed -E 's/^(typeinfo|typeinfo name|vtable) for //; s/^fwk:://; s/[^A-Za-z0-9_].*//' |
      sort -u > found)");
  EXPECT_GT(std::stoi(Ask("wc -l < found")), 30);
  EXPECT_EQ(Ask("comm -13 exported found"), "");
}
