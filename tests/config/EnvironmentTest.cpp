#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <sstream>
#include <string>

#include "framework/config/Config.h"
#include "framework/config/Environment.h"
#include "framework/core/Exceptions.h"
#include "framework/core/Locks.h"
#include "framework/logging/Logger.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/FailureText.h"
#include "tests/support/LogPrefix.h"
#include "tests/support/OwnMount.h"
#include "tests/support/TemporaryDirectory.h"

using fwk::Logger;

namespace {

// The values that all environments of the process share.
struct Values {
  std::string name = Environment::PRODUCT_NAME;
  std::string version = Environment::PRODUCT_VERSION;
  std::string logging = Environment::m_logging;
  std::int16_t logLevel = Environment::m_logLevel;
  std::int32_t loadedVersion = Environment::m_loadedVersion;

  void Apply() const {
    Environment::PRODUCT_NAME = name;
    Environment::PRODUCT_VERSION = version;
    Environment::m_logging = logging;
    Environment::m_logLevel = logLevel;
  }
};

const Values kAtStart;  // before main()

// Each test begins like a program, without a configuration file, and logs nothing at first.
class EnvironmentTest : public testing::Test {
 protected:
  EnvironmentTest() { Reset(); }
  ~EnvironmentTest() override { Reset(); }

  static void Configure(const std::string& content) {
    std::ofstream("/etc/mytool.conf", std::ios::binary) << content;
  }

  static void Start(const std::string& name = "MyTool", const std::string& version = "1.2") {
    const Environment environment(name, version);
  }

  // Returns the lines of the banner without date, time and thread.
  static std::string Banner() {
    Logger::m_bIncludeDateTime = false;
    Logger::m_bIncludeThreadID = false;
    Logger::m_bToConsole = true;
    return CaptureOutput(Environment::ShowEnvironment);
  }

 private:
  static void Reset() {
    kAtStart.Apply();
    Config::m_config.clear();
    Config::m_configFilename.clear();
    Config::m_subsection.clear();
    DoNotLog();
    Logger::m_bIncludeLogLevel = true;
    Logger::m_bToFile = true;
    Logger::m_bToConsole = false;
    Logger::m_bSyslog = false;
    Logger::m_currentLog = "";
  }

  const OwnMount m_etc{"/etc"};
  const OwnMount m_logs{"/var/log"};
};

// Returns whether a call on another thread is still running after a while.
template <typename T>
bool Waits(const std::future<T>& call) {
  return call.wait_for(std::chrono::milliseconds(100)) == std::future_status::timeout;
}

}  // namespace

TEST_F(EnvironmentTest, TheStaticsHaveTheirInitialValues) {
  EXPECT_EQ(kAtStart.name, "PRODUCT_NAME");
  EXPECT_EQ(kAtStart.version, "PRODUCT_VERSION");
  EXPECT_EQ(kAtStart.logging, "");
  EXPECT_EQ(kAtStart.logLevel, 2);
  EXPECT_EQ(kAtStart.loadedVersion, 0);
}

TEST_F(EnvironmentTest, TheNameIsMadeLowerCaseAndTheVersionIsKept) {
  const struct {
    const char* given;
    const char* name;
  } rows[] = {{"MyTool", "mytool"},
              {"mytool", "mytool"},
              {"MY-Tool_2.X", "my-tool_2.x"},
              {"\xC3\x84Z", "\xC3\x84z"}};
  for (const auto& row : rows) {
    Start(row.given, "1.2-RC1 Beta");
    EXPECT_EQ(Environment::PRODUCT_NAME, row.name);
    EXPECT_EQ(Environment::PRODUCT_VERSION, "1.2-RC1 Beta");
    EXPECT_EQ(Config::m_configFilename, std::string("/etc/") + row.name + ".conf");
    EXPECT_EQ(Environment::m_logging, std::string("/var/log/") + row.name + "/");
  }
}

TEST_F(EnvironmentTest, TheConfigurationIsTheFileOfTheLowerCaseNameInEtc) {
  Configure("key=right\n");
  std::ofstream("/etc/MyTool.conf") << "key=wrong\n";
  Start("MyTool");
  EXPECT_EQ(Config::m_config, (std::map<std::string, std::string>{{"key", "right"}}));
  EXPECT_EQ(Config::m_configFilename, "/etc/mytool.conf");
  EXPECT_EQ(Config::m_subsection, "");
}

TEST_F(EnvironmentTest, TheNameIsNotAFormat) {
  Start("100%s");
  EXPECT_EQ(Config::m_configFilename, "/etc/100%s.conf");
  EXPECT_EQ(Environment::m_logging, "/var/log/100%s/");
}

TEST_F(EnvironmentTest, LinesOfASectionAreIgnored) {
  Configure("log_level=4\n[mytool]\nlog_level=5\nlogging=/section/\n[main]\nkey=1\n");
  Start();
  EXPECT_EQ(Config::m_config, (std::map<std::string, std::string>{{"log_level", "4"}}));
  EXPECT_EQ(Environment::m_logLevel, 4);
  EXPECT_EQ(Environment::m_logging, "/var/log/mytool/");
}

TEST_F(EnvironmentTest, TheLogLocationIsTheValueOfLoggingOrTheDirectoryOfTheName) {
  const struct {
    const char* content;
    const char* location;
  } rows[] = {
      {"", "/var/log/mytool/"},
      {"other=/elsewhere/\n", "/var/log/mytool/"},
      {"logging =/elsewhere/\n", "/var/log/mytool/"},  // another key
      {"logging=/elsewhere/\n", "/elsewhere/"},
      {"LOGGING = /elsewhere/x\nLogging=/Else/Where\n", "/Else/Where"},
      {"logging=no slash %s\n", "no slash %s"},
  };
  for (const auto& row : rows) {
    Configure(row.content);
    Start();
    EXPECT_EQ(Environment::m_logging, row.location) << row.content;
    EXPECT_EQ(Logger::m_sLogFileLocation, row.location) << row.content;
  }
}

TEST_F(EnvironmentTest, AnEmptyLogLocationTurnsLoggingOff) {
  Configure("logging=\n");
  Start();
  EXPECT_EQ(Environment::m_logging, "");
  EXPECT_EQ(Logger::m_sLogFileLocation, "");
  EXPECT_EQ(Banner(), "");
}

TEST_F(EnvironmentTest, TheLogLevelIsTheValueOfLogLevelOrThree) {
  const struct {
    const char* content;
    int level;
  } rows[] = {
      {"", 3},
      {"loglevel=5\n", 3},
      {"log_level =5\n", 3},  // another key
      {"log_level=\n", 3},
      {"log_level=high\n", 3},
      {"log_level=5 # all\n", 3},
      {"log_level=0\n", 0},
      {"log_level=1\n", 1},
      {"log_level=2\n", 2},
      {"log_level=4\n", 4},
      {"LOG_LEVEL= 5 \n", 5},
      {"log_level=7\n", 7},
      {"log_level=-1\n", -1},
      {"log_level=65541\n", 5},  // 16 bits are kept
  };
  for (const auto& row : rows) {
    Environment::m_logLevel = 99;
    Configure(row.content);
    Start();
    EXPECT_EQ(Environment::m_logLevel, row.level) << row.content;
    EXPECT_EQ(Logger::m_LogLevel, row.level) << row.content;
  }
}

TEST_F(EnvironmentTest, TheLoggerShowsDateTimeAndThreadAndKeepsItsOtherSettings) {
  for (const bool flag : {false, true}) {
    Logger::m_bIncludeDateTime = false;
    Logger::m_bIncludeThreadID = false;
    Logger::m_bToFile = flag;
    Logger::m_bToConsole = flag;
    Logger::m_bSyslog = flag;
    Logger::m_bIncludeLogLevel = flag;
    Start();
    EXPECT_TRUE(Logger::m_bIncludeDateTime);
    EXPECT_TRUE(Logger::m_bIncludeThreadID);
    EXPECT_EQ(Logger::m_bToFile, flag);
    EXPECT_EQ(Logger::m_bToConsole, flag);
    EXPECT_EQ(Logger::m_bSyslog, flag);
    EXPECT_EQ(Logger::m_bIncludeLogLevel, flag);
  }
}

TEST_F(EnvironmentTest, WithoutAConfigurationFileItStartsWithTheDefaults) {
  Config::m_config = {{"log_level", "5"}};
  const int before = Environment::GetLoadedVersion();
  EXPECT_NO_THROW(Start());
  EXPECT_TRUE(Config::m_config.empty());
  EXPECT_EQ(Environment::m_logging, "/var/log/mytool/");
  EXPECT_EQ(Environment::m_logLevel, 3);
  EXPECT_EQ(Logger::m_sLogFileLocation, "/var/log/mytool/");
  EXPECT_EQ(Logger::m_LogLevel, 3);
  EXPECT_EQ(Environment::GetLoadedVersion(), before + 1);
}

TEST_F(EnvironmentTest, AnUnreadableConfigurationFileThrowsAndChangesOnlyNameAndVersion) {
  std::filesystem::create_directory("/etc/mytool.conf");
  Logger::Init("before", 4, false, false);
  const int before = Environment::GetLoadedVersion();
  EXPECT_EQ(FailureText<ConfigException>([] { Start(); }), "Unable to read configuration file:");
  EXPECT_EQ(Environment::GetLoadedVersion(), before);
  EXPECT_EQ(Environment::PRODUCT_NAME, "mytool");
  EXPECT_EQ(Environment::PRODUCT_VERSION, "1.2");
  EXPECT_EQ(Environment::m_logging, "");
  EXPECT_EQ(Environment::m_logLevel, 2);
  EXPECT_EQ(Logger::m_sLogFileLocation, "before");
  EXPECT_EQ(Logger::m_LogLevel, 4);
  EXPECT_FALSE(Logger::m_bIncludeDateTime);
  EXPECT_FALSE(Logger::m_bIncludeThreadID);
}

TEST_F(EnvironmentTest, EachConstructionIncreasesTheLoadedVersionByOne) {
  const int before = Environment::GetLoadedVersion();
  for (int made = 1; made <= 5; ++made) {
    Start();
    EXPECT_EQ(Environment::GetLoadedVersion(), before + made);
  }
  Environment::ShowEnvironment();
  EXPECT_EQ(Environment::GetLoadedVersion(), before + 5);
}

TEST_F(EnvironmentTest, TheConfigurationIsLoadedAgainEachTime) {
  Configure("logging=/one/\nlog_level=1\nold=1\n");
  Start();
  Configure("log_level=4\n");
  Start("MYTOOL", "2");
  EXPECT_EQ(Config::m_config, (std::map<std::string, std::string>{{"log_level", "4"}}));
  EXPECT_EQ(Environment::PRODUCT_VERSION, "2");
  EXPECT_EQ(Environment::m_logging, "/var/log/mytool/");
  EXPECT_EQ(Environment::m_logLevel, 4);
}

TEST_F(EnvironmentTest, TheLoadedVersionIsReadUnderTheReadLock) {
  std::future<int> version;
  {
    const MutexRead other(Environment::m_MutexInstance);
    version = std::async(std::launch::async, Environment::GetLoadedVersion);
    version.wait_for(std::chrono::seconds(30));
    EXPECT_FALSE(Waits(version));
  }
  {
    const MutexWrite other(Environment::m_MutexInstance);
    version = std::async(std::launch::async, Environment::GetLoadedVersion);
    EXPECT_TRUE(Waits(version));
  }
  EXPECT_EQ(version.get(), Environment::m_loadedVersion);
}

TEST_F(EnvironmentTest, TheLoadedVersionIsIncreasedLastAndUnderTheWriteLock) {
  Configure("log_level=4\n");
  const int before = Environment::GetLoadedVersion();
  std::future<void> start;
  {
    const MutexRead other(Environment::m_MutexInstance);
    start = std::async(std::launch::async, [] { Start(); });
    for (int i = 0; i < 100 && Logger::m_LogLevel != 4; ++i) {
      EXPECT_TRUE(Waits(start));
    }
    EXPECT_EQ(Logger::m_LogLevel, 4);
    EXPECT_TRUE(Waits(start));
    EXPECT_EQ(Environment::m_loadedVersion, before);
  }
  start.get();
  EXPECT_EQ(Environment::GetLoadedVersion(), before + 1);
}

TEST_F(EnvironmentTest, TheBannerHasNameVersionAndTheEntriesInTheOrderOfTheirKeys) {
  const TemporaryDirectory directory;
  Configure("zeta=last\nLogging=" + directory.Path() +
            "/\nAlpha=100%s %n\nlog_level=3\nempty=\nb c =two words\n");
  Start("MyTool", "1.2 %d");
  Banner();
  EXPECT_EQ(directory.Read("current.log"),
            "Info: starting mytool version 1.2 %d\n"
            "Info: environment....\n"
            "Info: alpha::100%s %n\n"
            "Info: b c ::two words\n"
            "Info: empty::\n"
            "Info: log_level::3\n"
            "Info: logging::" +
                directory.Path() +
                "/\n"
                "Info: zeta::last\n");
}

TEST_F(EnvironmentTest, WithAnEmptyConfigurationTheBannerIsExactlyTwoLines) {
  for (const char* const content : {"", "# nothing\n\n[section]\nkey=value\n"}) {
    Configure(content);
    Start();
    EXPECT_EQ(Banner(), "Info: starting mytool version 1.2\nInfo: environment....\n");
  }
}

TEST_F(EnvironmentTest, WithoutAnEnvironmentTheBannerShowsTheInitialValues) {
  Logger::Init("unused", 3, false, false);
  Logger::m_bToFile = false;
  EXPECT_EQ(Banner(),
            "Info: starting PRODUCT_NAME version PRODUCT_VERSION\nInfo: environment....\n");
}

TEST_F(EnvironmentTest, TheBannerHasTheLevelInfo) {
  Configure("log_level=4\n");
  Start();
  EXPECT_EQ(Banner(), "");
  Configure("log_level=3\n");
  Start();
  EXPECT_EQ(Banner(),
            "Info: starting mytool version 1.2\nInfo: environment....\nInfo: log_level::3\n");
}

TEST_F(EnvironmentTest, TheLoggingThreadWritesTheBanner) {
  Configure("log_level=3\n");
  Start();
  Logger::m_bAsync = true;
  EXPECT_EQ(Banner(), "");
  Logger::m_bAsync = false;
  std::string line;
  for (const char* const expected :
       {"Info: starting mytool version 1.2", "Info: environment....", "Info: log_level::3"}) {
    EXPECT_TRUE(Logger::m_LogQueue.Pop(line));
    EXPECT_EQ(line, expected);
  }
  EXPECT_FALSE(Logger::m_LogQueue.Pop(line));
}

TEST_F(EnvironmentTest, TheBannerGoesToTheLogDirectoryOfTheNameWithDateTimeAndThread) {
  std::filesystem::create_directory("/var/log/mytool");
  Start();
  Environment::ShowEnvironment();
  std::ostringstream log;
  log << std::ifstream("/var/log/mytool/current.log").rdbuf();
  const std::string prefix = "0000-00-00 00:00:00 " + WithoutDigits(ThreadPrefix()) + "Info: ";
  EXPECT_EQ(WithoutDigits(log.str()),
            prefix + "starting mytool version 0.0\n" + prefix + "environment....\n");
}
