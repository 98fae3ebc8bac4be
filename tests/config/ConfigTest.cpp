#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

#include "framework/config/Config.h"
#include "framework/core/Exceptions.h"
#include "tests/support/FailingFile.h"
#include "tests/support/FailureText.h"
#include "tests/support/ScarceMemory.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

using Entries = std::map<std::string, std::string>;

constexpr char kUnreadable[] = "Unable to read configuration file:";

// Each test begins with an empty store and ends with one.
class ConfigTest : public testing::Test {
 protected:
  ConfigTest() { Clear(); }
  ~ConfigTest() override { Clear(); }

  // Returns the entries of a file with this content.
  Entries Load(const std::string& content, const std::string& subsection = "") const {
    m_directory.Write("tool.conf", content);
    Config::Load(m_directory.Path("tool.conf"), subsection);
    return Config::m_config;
  }

  // Returns the text of the failure to load `path`.
  static std::string FailureOf(const std::string& path) {
    return FailureText<ConfigException>([&path] { Config::Load(path, "main"); });
  }

  TemporaryDirectory m_directory;

 private:
  static void Clear() {
    Config::m_config.clear();
    Config::m_configFilename.clear();
    Config::m_subsection.clear();
  }
};

}  // namespace

TEST_F(ConfigTest, ALineOutsideAnySectionGivesALowerCaseKeyAndItsValue) {
  EXPECT_EQ(Load("Log_Level=4\n"), (Entries{{"log_level", "4"}}));
}

TEST_F(ConfigTest, ABlankBeforeTheEqualsSignStaysInTheKey) {
  EXPECT_EQ(Load("log_level = 4\n"), (Entries{{"log_level ", "4"}}));
  EXPECT_EQ(Config::GetString("log_level", "none"), "none");
  EXPECT_EQ(Config::GetString("log_level ", "none"), "4");
}

TEST_F(ConfigTest, ALaterLineWithTheSameKeyWins) {
  EXPECT_EQ(Load("key=first\nother=1\nKEY=second\n"), (Entries{{"key", "second"}, {"other", "1"}}));
}

TEST_F(ConfigTest, OnlyLinesBeforeTheFirstSectionAndInTheWantedOneCount) {
  const std::string content =
      "before=1\n"
      "[other]\nother=2\n"
      "[ main ]\ntrimmed=3\n"
      "[Main]\ncase=4\n"
      "[\tmain\t]\nagain=5\n"
      "[mainly]\nlonger=6\n";
  EXPECT_EQ(Load(content, "main"), (Entries{{"before", "1"}, {"trimmed", "3"}, {"again", "5"}}));
  EXPECT_EQ(Load(content, "Main"), (Entries{{"before", "1"}, {"case", "4"}}));
  EXPECT_EQ(Load(content, ""), (Entries{{"before", "1"}}));
  EXPECT_EQ(Load(content, " main "), (Entries{{"before", "1"}}));
}

TEST_F(ConfigTest, AHashAtTheStartOfALineBeginsAComment) {
  EXPECT_EQ(Load("#key=value\n  \t#key=value\nkey=value # note\n"),
            (Entries{{"key", "value # note"}}));
  EXPECT_EQ(Load("; key=value\n// key=value\n"),
            (Entries{{"; key", "value"}, {"// key", "value"}}));
}

TEST_F(ConfigTest, ALineIsAKeyAndAValueWithoutBlanksAroundThem) {
  const struct {
    std::string line;
    Entries entries;
  } rows[] = {
      {"", {}},
      {" \t\r", {}},
      {"key", {}},     // no "="
      {"=value", {}},  // "=" first
      {" \t=value", {}},
      {"=", {}},
      {"key=", {{"key", ""}}},
      {"key= \t", {{"key", ""}}},
      {"key=a=b==", {{"key", "a=b=="}}},
      {"key==", {{"key", "="}}},
      {"  key=value  ", {{"key", "value"}}},
      {"\t\r key=\t\rvalue\t\r", {{"key", "value"}}},
      {"key=two  words", {{"key", "two  words"}}},
      {"key=VaLuE", {{"key", "VaLuE"}}},
      {"KEY\t=value", {{"key\t", "value"}}},
      {"two words=value", {{"two words", "value"}}},
      {"key=\"value\"", {{"key", "\"value\""}}},
      {"[key=value", {{"[key", "value"}}},  // not a section without "]"
      {"[Key=[value", {{"[key", "[value"}}},
      {"[key=value]", {}},  // a section
      {"key]=value", {{"key]", "value"}}},
      {"key=[main]", {{"key", "[main]"}}},
      {"]key[=value", {{"]key[", "value"}}},
      {"\vkey=\vvalue\f", {{"\vkey", "\vvalue\f"}}},  // these are not blanks
      {"\f=value", {{"\f", "value"}}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Load(row.line + "\n"), row.entries) << row.line;
    EXPECT_EQ(Load(row.line), row.entries) << row.line << " without a line feed";
    EXPECT_EQ(Load(row.line + "\r\n"), row.entries) << row.line << " with a carriage return";
  }
}

TEST_F(ConfigTest, TheNameOfASectionEndsAtTheLastBracket) {
  const struct {
    const char* header;
    const char* section;
  } rows[] = {
      {"[a]", "a"},         {"[a]b]", "a]b"}, {"[[a]", "[a"},           {"[a b]", "a b"},
      {"[ \t\ra ]", "a"},   {"  [a]", "a"},   {"[a] trailing", "a"},    {"[a]=b", "a"},
      {"[a]b=c", "a"},      {"[k=v]", "k=v"}, {"[a] # [b]", "a] # [b"}, {"[#a]", "#a"},
      {"[\va\f]", "\va\f"},
  };
  for (const auto& row : rows) {
    const std::string content = std::string("[else]\n") + row.header + "\nkey=value\n";
    EXPECT_EQ(Load(content, row.section), (Entries{{"key", "value"}})) << row.header;
    EXPECT_EQ(Load(content, "wanted"), Entries()) << row.header;
  }
}

TEST_F(ConfigTest, ASectionWithoutANameAlwaysCounts) {
  EXPECT_EQ(Load("[other]\na=1\n[]\nb=2\n[ ]\nc=3\n", "main"), (Entries{{"b", "2"}, {"c", "3"}}));
}

TEST_F(ConfigTest, ACommentedHeaderStartsNoSection) {
  EXPECT_EQ(Load("#[other]\nkey=value\n", "main"), (Entries{{"key", "value"}}));
}

TEST_F(ConfigTest, AMalformedHeaderDoesNotEndTheSectionBeforeIt) {
  EXPECT_EQ(Load("[other]\n[main\nkey=value\n", "main"), Entries());
  EXPECT_EQ(Load("[main]\n[other\nkey=value\n", "main"), (Entries{{"key", "value"}}));
}

TEST_F(ConfigTest, ALineIsCutAt1024CharactersAndTheNextOneIsReadWhole) {
  const struct {
    std::size_t length;  // of the value
    std::size_t kept;
  } rows[] = {{1019, 1019}, {1020, 1020}, {1021, 1020}, {1022, 1020}, {2044, 1020}, {100000, 1020}};
  for (const auto& row : rows) {
    const std::string line = "key=" + std::string(row.length, 'x');
    EXPECT_EQ(Load(line + "\nnext=1\n"),
              (Entries{{"key", std::string(row.kept, 'x')}, {"next", "1"}}))
        << row.length;
    EXPECT_EQ(Load(line), (Entries{{"key", std::string(row.kept, 'x')}})) << row.length;
  }
}

TEST_F(ConfigTest, TheRestOfACutLineIsNotAnotherLine) {
  EXPECT_EQ(Load("#" + std::string(1023, 'x') + "key=value\n"), Entries());
  EXPECT_EQ(Load(std::string(1024, ' ') + "key=value\nnext=1\n"), (Entries{{"next", "1"}}));
  EXPECT_EQ(Load(std::string(1020, ' ') + "key=value\n"), (Entries{{"key", ""}}));
}

TEST_F(ConfigTest, ALineEndsAtAZeroByte) {
  EXPECT_EQ(Load(std::string("key=va\0lue\nnext=1\n", 18)),
            (Entries{{"key", "va"}, {"next", "1"}}));
  EXPECT_EQ(Load(std::string("k\0ey=value\nnext=1\n", 18)), (Entries{{"next", "1"}}));
  EXPECT_EQ(Load(std::string("\0key=value\nnext=1\n", 18)), (Entries{{"next", "1"}}));
  EXPECT_EQ(Load(std::string("[ot\0her]\nkey=value\n", 19), "main"), (Entries{{"key", "value"}}));
}

TEST_F(ConfigTest, BytesAbove127PassUnchanged) {
  EXPECT_EQ(Load("K\xC3\x84Y=\xFF\xC3\xA9\n"), (Entries{{"k\xC3\x84y", "\xFF\xC3\xA9"}}));
}

TEST_F(ConfigTest, AnEmptyFileGivesAnEmptyStore) {
  EXPECT_EQ(Load(""), Entries());
  EXPECT_EQ(Load("\n\n\r\n"), Entries());
}

TEST_F(ConfigTest, LoadKeepsItsArgumentsAndReplacesTheStore) {
  Load("first=1\n", "main");
  EXPECT_EQ(Config::m_configFilename, m_directory.Path("tool.conf"));
  EXPECT_EQ(Config::m_subsection, "main");
  EXPECT_EQ(Load("second=2\n", "other"), (Entries{{"second", "2"}}));
  EXPECT_EQ(Config::m_subsection, "other");
}

TEST_F(ConfigTest, ASectionOfThePreviousFileIsForgotten) {
  Load("[other]\n", "main");
  EXPECT_EQ(Load("key=value\n", "main"), (Entries{{"key", "value"}}));
}

TEST_F(ConfigTest, AFileThatDoesNotExistLeavesAnEmptyStore) {
  m_directory.Write("file", "");
  for (const std::string& path :
       {m_directory.Path("missing.conf"), m_directory.Path("missing/tool.conf"),
        m_directory.Path("file/tool.conf"), std::string()}) {
    Load("old=1\n");
    EXPECT_NO_THROW(Config::Load(path, "main"));
    EXPECT_EQ(Config::m_config, Entries());
    EXPECT_EQ(Config::m_configFilename, path);
    EXPECT_EQ(Config::m_subsection, "main");
  }
}

TEST_F(ConfigTest, ADirectoryCannotBeReadAndEmptiesTheStore) {
  Load("old=1\n");
  EXPECT_EQ(FailureOf(m_directory.Path()), kUnreadable);
  EXPECT_EQ(Config::m_config, Entries());
  EXPECT_EQ(Config::m_configFilename, m_directory.Path());
  EXPECT_EQ(Config::m_subsection, "main");
}

TEST_F(ConfigTest, AFileThatExistsButCannotBeOpenedThrows) {
  std::filesystem::create_symlink("loop", m_directory.Path("loop"));
  Load("old=1\n");
  EXPECT_EQ(FailureOf(m_directory.Path("loop")), kUnreadable);
  EXPECT_EQ(Config::m_config, Entries());
}

TEST_F(ConfigTest, AFailedReadThrowsAndStoresOnlyTheCompleteLines) {
  const FailingFile file("first=1\nsecond=part");
  EXPECT_EQ(FailureOf(file.Path()), kUnreadable);
  EXPECT_EQ(Config::m_config, (Entries{{"first", "1"}}));
}

TEST_F(ConfigTest, AFileThatCannotBeReadThrows) {
  EXPECT_EQ(FailureOf("/proc/self/mem"), kUnreadable);
}

TEST_F(ConfigTest, AnyFailureBecomesAConfigExceptionAndTheEntriesBeforeItStay) {
  const std::string path = m_directory.Path("tool.conf");
  m_directory.Write("tool.conf",
                    "first=1\nsecond=2\nthird=" + std::string(1000, 'x') + "\nlast=4\n");
  std::string text;
  {
    const ScarceMemory scarce;
    text = FailureOf(path);
  }
  EXPECT_EQ(text, kUnreadable);
  EXPECT_EQ(Config::m_config, (Entries{{"first", "1"}, {"second", "2"}}));
}

TEST_F(ConfigTest, AStoreThatWasNeverLoadedGivesTheDefaults) {
  EXPECT_EQ(Config::GetString("key", "default"), "default");
  EXPECT_EQ(Config::GetInt("key", -7), -7);
}

TEST_F(ConfigTest, GetStringMakesTheKeyLowerCaseAndKeepsTheValue) {
  Load("Key=VaLuE\nempty=\n");
  EXPECT_EQ(Config::GetString("KEY", "default"), "VaLuE");
  EXPECT_EQ(Config::GetString("key", "default"), "VaLuE");
  EXPECT_EQ(Config::GetString(" key", "default"), "default");
  EXPECT_EQ(Config::GetString("", "default"), "default");
  EXPECT_EQ(Config::GetString("empty", "default"), "");
}

TEST_F(ConfigTest, GetIntReadsADecimalNumberOf32Bits) {
  const struct {
    const char* value;
    std::int32_t number;
  } rows[] = {
      {"0", 0},
      {"4", 4},
      {"-12", -12},
      {"+7", 7},
      {"007", 7},
      {" 4 ", 4},
      {"2147483647", 2147483647},
      {"-2147483648", -2147483647 - 1},
      {"2147483648", -2147483647 - 1},  // wraps
      {"4294967297", 1},
  };
  for (const auto& row : rows) {
    Load(std::string("Number=") + row.value + "\n");
    EXPECT_EQ(Config::GetInt("NUMBER", -99), row.number) << row.value;
  }
}

TEST_F(ConfigTest, GetIntReturnsTheDefaultForAnythingElse) {
  for (const std::string value :
       {"", "-", "+", "12x", "x12", "1.5", "1 2", "--1", "0x10", "4 # note"}) {
    Load("number=" + value + "\n");
    EXPECT_EQ(Config::GetInt("number", -99), -99) << value;
  }
}

TEST_F(ConfigTest, LookUpsAddNothingToTheStore) {
  Config::GetString("key", "default");
  Config::GetInt("key", 1);
  EXPECT_EQ(Config::m_config, Entries());
}
