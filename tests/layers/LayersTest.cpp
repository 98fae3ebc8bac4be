// Which sources and headers may include which others, and that files of tests have some.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

// The layer of each folder. Folders of one layer do not know each other.
const std::map<std::string, int> kLayers = {
    {"framework/core", 0},
    {"framework/Utilities", 1},
    {"framework/logging", 2},
    {"framework/config", 2},
    {"framework/net", 2},
    {"framework/dns", 3},
    {"tool", 4},
    {"programs/spf-bulk", 5},
    {"programs/spf-may-send", 5},
    {"programs/spf-policyd", 5},
};

struct Include {
  std::string file;
  std::string included;

  std::string Folder() const { return fs::path(file).parent_path(); }
  std::string IncludedFolder() const { return fs::path(included).parent_path(); }
};

// Returns what the sources and headers of the layers include in quotes, or from a layer.
std::vector<Include> FindIncludes() {
  const std::regex pattern(
      "^[ \t]*#[ \t]*include[ \t]*(?:\"|<(?=framework/|tool/|programs/))"
      "([^\">]*)[\">].*");
  std::vector<Include> includes;
  for (const std::string top : {"framework", "tool", "programs"}) {
    for (const auto& entry : fs::recursive_directory_iterator(fs::path(PROJECT_ROOT) / top)) {
      const std::string extension = entry.path().extension();
      if (extension != ".h" && extension != ".cpp") {
        continue;
      }
      std::ifstream file(entry.path());
      std::smatch match;
      for (std::string line; std::getline(file, line);) {
        if (std::regex_match(line, match, pattern)) {
          includes.push_back({fs::relative(entry.path(), PROJECT_ROOT), match[1]});
        }
      }
    }
  }
  EXPECT_GT(includes.size(), 100U);
  return includes;
}

}  // namespace

TEST(LayersTest, EachSourceIsInALayer) {
  for (const Include& include : FindIncludes()) {
    EXPECT_TRUE(kLayers.contains(include.Folder())) << include.file;
  }
}

TEST(LayersTest, AnIncludeIsAPathFromTheRoot) {
  for (const Include& include : FindIncludes()) {
    EXPECT_TRUE(kLayers.contains(include.IncludedFolder()) &&
                fs::exists(fs::path(PROJECT_ROOT) / include.included))
        << include.file << " includes " << include.included;
  }
}

TEST(LayersTest, AnIncludePointsToALowerLayer) {
  // The log sink reads the product name; the environment starts the logger.
  const std::set<std::string> exceptions = {
      "framework/logging/LoggerSink.cpp includes framework/config/Environment.h",
      "framework/config/Environment.cpp includes framework/logging/Logger.h"};
  for (const Include& include : FindIncludes()) {
    const std::string text = include.file + " includes " + include.included;
    if (include.Folder() != include.IncludedFolder() && !exceptions.contains(text)) {
      EXPECT_GT(kLayers.at(include.Folder()), kLayers.at(include.IncludedFolder())) << text;
    }
  }
}

TEST(LayersTest, EachFileOfTestsHasATest) {
  for (const auto& entry : fs::recursive_directory_iterator(fs::path(PROJECT_ROOT) / "tests")) {
    if (entry.path().string().ends_with("Test.cpp")) {
      std::ifstream file(entry.path());
      const std::string text(std::istreambuf_iterator<char>(file), {});
      EXPECT_NE(text.find("\nTEST"), std::string::npos) << entry.path();
    }
  }
}

TEST(LayersTest, NoHeaderIncludesTheVersion) {
  for (const Include& include : FindIncludes()) {
    EXPECT_FALSE(include.file.ends_with(".h") && include.included == "framework/core/Version.h")
        << include.file;
  }
}
