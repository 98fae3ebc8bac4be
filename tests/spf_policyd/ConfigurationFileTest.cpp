#include <gtest/gtest.h>

#include <string>

#include "framework/core/Exceptions.h"
#include "programs/spf-policyd/ConfigurationFile.h"
#include "tests/support/FailureText.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

constexpr char kNothing[] = "nothing was thrown";

class ConfigurationFileTest : public testing::Test {
 protected:
  ConfigurationFile Read(const std::string& content) const {
    m_directory.Write("conf", content);
    return ConfigurationFile(Path(), {"refuse", "log_level"});
  }

  // Returns the fault of a file, without its path.
  std::string FaultOf(const std::string& content) const {
    const std::string text = FailureText<StdException>([&] { Read(content); });
    return text.starts_with(Path()) ? text.substr(Path().size()) : text;
  }

  std::string Path() const { return m_directory.Path("conf"); }

 private:
  TemporaryDirectory m_directory;
};

}  // namespace

TEST_F(ConfigurationFileTest, LinesThatTheReaderUnderstandsAreCorrect) {
  EXPECT_EQ(FaultOf(""), kNothing);
  EXPECT_EQ(FaultOf("# refuse = x\n\n \t \r\n  #x\nrefuse=a=b\nLOG_Level=\n  refuse=\n"), kNothing);
  EXPECT_EQ(FaultOf("refuse=" + std::string(1016, 'x') + "\n"), kNothing);
  EXPECT_EQ(FaultOf("refuse=x"), kNothing) << "without a line feed";
}

TEST_F(ConfigurationFileTest, AFileThatDoesNotExistIsEmpty) {
  const ConfigurationFile file("/nonexistent/conf", {});
  EXPECT_EQ(file.WhereIs("refuse"), "/nonexistent/conf");
}

TEST_F(ConfigurationFileTest, AnUnknownKeyIsReported) {
  EXPECT_EQ(FaultOf("refuse=x\n\nrefused=y\n"), ":3: unknown key \"refused\"");
  EXPECT_EQ(FaultOf("refuse = x\n"),
            ":1: unknown key \"refuse \"; leave no blank before the \"=\"");
  EXPECT_EQ(FaultOf("refuse\t=x\n"),
            ":1: unknown key \"refuse\\011\"; leave no blank before the \"=\"");
  EXPECT_EQ(FaultOf("\x1b[2J=x\n"), ":1: unknown key \"\\033[2j\"");
}

TEST_F(ConfigurationFileTest, ANamedSectionIsReported) {
  EXPECT_EQ(FaultOf("[main]\nrefuse=x\n"), ":1: sections are not known here: [main]");
  EXPECT_EQ(FaultOf("refuse=x\n [] \n"), ":2: sections are not known here: []");
}

TEST_F(ConfigurationFileTest, ALineThatTheReaderSkipsIsReported) {
  EXPECT_EQ(FaultOf("refuse\n"), ":1: neither key=value nor a comment: refuse");
  EXPECT_EQ(FaultOf("=x\n"), ":1: neither key=value nor a comment: =x");
  EXPECT_EQ(FaultOf("[x\n"), ":1: neither key=value nor a comment: [x");
}

TEST_F(ConfigurationFileTest, ALineThatTheReaderCutsIsReported) {
  EXPECT_EQ(FaultOf("refuse=" + std::string(1017, 'x') + "\n"),
            ":1: a line of 1024 characters or more");
  EXPECT_EQ(FaultOf("#" + std::string(5000, 'x') + "\n"), ":1: a line of 1024 characters or more");
  EXPECT_EQ(FaultOf(std::string("refuse=x\0y\n", 11)), ":1: a line with a zero byte");
}

TEST_F(ConfigurationFileTest, ItKnowsWhereAKeyWasLastSet) {
  const ConfigurationFile file = Read("# first\nrefuse=x\nREFUSE=y\n");
  EXPECT_EQ(file.WhereIs("refuse"), Path() + ":3");
  EXPECT_EQ(file.WhereIs("log_level"), Path());
}
