#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "framework/config/Config.h"
#include "framework/config/Environment.h"
#include "framework/core/Exceptions.h"
#include "programs/spf-policyd/Settings.h"
#include "tests/support/FailureText.h"
#include "tests/support/Shell.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

using namespace std::chrono_literals;

class SettingsTest : public testing::Test {
 protected:
  SettingsTest() { Environment::PRODUCT_NAME = "spf-policyd"; }

  std::shared_ptr<const Settings> Load(const std::string& content) const {
    m_directory.Write("conf", content);
    Config::Load(Path(), "");
    return Settings::Load(Path());
  }

  // Returns the fault of a file, without its path.
  std::string FaultOf(const std::string& content) const {
    const std::string text = FailureText<StdException>([&] { Load(content); });
    return text.starts_with(Path()) ? text.substr(Path().size()) : text;
  }

  std::string Path() const { return m_directory.Path("conf"); }

 private:
  TemporaryDirectory m_directory;
};

}  // namespace

TEST_F(SettingsTest, WithoutAFileTheDefaultsHold) {
  const auto settings = Load("host=mail.test\n");
  EXPECT_EQ(settings->listen, "127.0.0.1:10040");
  EXPECT_TRUE(settings->refuse.GetNames().empty());
  EXPECT_TRUE(settings->skip.Has("127.255.255.255"));
  EXPECT_FALSE(settings->skip.Has("192.0.2.7"));
  EXPECT_EQ(settings->timeLimit, 20s);
  EXPECT_EQ(settings->lookUps, 20U);
  EXPECT_EQ(settings->connections, 1000U);
  EXPECT_TRUE(settings->isTrial);
  EXPECT_EQ(settings->nameServer, "");
  EXPECT_FALSE(settings->hasSyslog);
  EXPECT_EQ(settings->logging, "/var/log/spf-policyd/");
  EXPECT_EQ(settings->logLevel, 3);
}

TEST_F(SettingsTest, EachSettingIsRead) {
  const auto settings = Load(
      "listen=unix:/run/x\n"
      "refuse=.example.org\n"
      "skip=192.0.2.0/24\n"
      "host=mail.test\n"
      "time_limit=7\n"
      "look_ups=11\n"
      "connections=13\n"
      "trial=0\n"
      "dns_server=192.0.2.53\n"
      "syslog=1\n"
      "logging=/tmp/x-\n"
      "log_level=4\n");
  EXPECT_EQ(settings->listen, "unix:/run/x");
  EXPECT_TRUE(settings->refuse.Has("a.example.org"));
  EXPECT_TRUE(settings->skip.Has("192.0.2.7"));
  EXPECT_FALSE(settings->skip.Has("127.0.0.1"));
  EXPECT_EQ(settings->host, "mail.test");
  EXPECT_EQ(settings->timeLimit, 7s);
  EXPECT_EQ(settings->lookUps, 11U);
  EXPECT_EQ(settings->connections, 13U);
  EXPECT_FALSE(settings->isTrial);
  EXPECT_EQ(settings->nameServer, "192.0.2.53");
  EXPECT_TRUE(settings->hasSyslog);
  EXPECT_EQ(settings->logging, "/tmp/x-");
  EXPECT_EQ(settings->logLevel, 4);
}

TEST_F(SettingsTest, ListsAndTheLogMayBeEmpty) {
  const auto settings = Load("refuse=\nskip=\nlogging=\ndns_server=\nhost=mail.test\n");
  EXPECT_TRUE(settings->refuse.GetNames().empty());
  EXPECT_FALSE(settings->skip.Has("127.0.0.1"));
  EXPECT_EQ(settings->logging, "");
  EXPECT_EQ(settings->nameServer, "");
}

TEST_F(SettingsTest, AMalformedValueIsReportedWithItsLine) {
  const std::pair<const char*, const char*> rows[] = {
      {"listen=10040", "listen: neither ADDRESS:PORT nor unix:PATH: 10040"},
      {"listen=", "listen: neither ADDRESS:PORT nor unix:PATH: "},
      {"refuse=exa\x01mple", "refuse: not a domain: exa\\001mple"},
      {"skip=192.0.2.1/24", "skip: a bit after the prefix is set: 192.0.2.1/24"},
      {"host=mail test", "host: not a host name: mail test"},
      {"host=", "host: not a host name: "},
      {"time_limit=0", "time_limit: not a number of 1 to 90: 0"},
      {"time_limit=91", "time_limit: not a number of 1 to 90: 91"},
      {"time_limit=20 s", "time_limit: not a number of 1 to 90: 20 s"},
      {"time_limit=4294967297", "time_limit: not a number of 1 to 90: 4294967297"},
      {"time_limit=-5", "time_limit: not a number of 1 to 90: -5"},
      {"look_ups=0", "look_ups: not a number of 1 to 1000: 0"},
      {"look_ups=", "look_ups: not a number of 1 to 1000: "},
      {"connections=0", "connections: not a number of 1 to 10000: 0"},
      {"connections=10001", "connections: not a number of 1 to 10000: 10001"},
      {"trial=no", "trial: not a number of 0 to 1: no"},
      {"dns_server=::1", "dns_server: not an IPv4 address: ::1"},
      {"dns_server=0.0.0.0", "dns_server: not an IPv4 address: 0.0.0.0"},
      {"syslog=2", "syslog: not a number of 0 to 1: 2"},
      {"logging=log/", "logging: not an absolute path: log/"},
      {"log_level=7", "log_level: not a number of 0 to 6: 7"},
  };
  for (const auto& [line, fault] : rows) {
    EXPECT_EQ(FaultOf(std::string("host=mail.test\n\n") + line + "\n"),
              std::string(":3: ") + fault);
  }
}

TEST_F(SettingsTest, SomeSettingsNeedARestart) {
  const auto old = Load("host=a.test\n");
  EXPECT_EQ(Load("host=b.test\nrefuse=x\nskip=\ntime_limit=1\nlook_ups=1\ntrial=0\nsyslog=1\n"
                 "logging=/x\nlog_level=1\n")
                ->FindRestartKeys(*old),
            std::vector<std::string>());
  EXPECT_EQ(Load("host=a.test\nlisten=127.0.0.1:1\nconnections=1\ndns_server=127.0.0.1\n")
                ->FindRestartKeys(*old),
            (std::vector<std::string>{"listen", "connections", "dns_server"}));
}

TEST_F(SettingsTest, TheSettingsInForceAreDescribed) {
  Load("host=mail.test\nREFUSE= .example.org, example.net \ntrial=0\n");
  EXPECT_EQ(Settings::Describe(),
            "listen=127.0.0.1:10040\n"
            "refuse=.example.org, example.net\n"
            "skip=127.0.0.0/8\n"
            "host=mail.test\n"
            "time_limit=20\n"
            "look_ups=20\n"
            "connections=1000\n"
            "trial=0\n"
            "dns_server=\n"
            "syslog=0\n"
            "logging=/var/log/spf-policyd/\n"
            "log_level=3\n");
}

TEST_F(SettingsTest, ThePackagedFileShowsEachSettingWithItsDefault) {
  Load("host=mail.test\n");
  EXPECT_EQ(OutputOf("sed -n 's/^#host=$/&mail.test/; s/^#\\([a-z_]*=\\)/\\1/p' "
                     "packaging/spf-policyd.conf",
                     PROJECT_ROOT),
            Settings::Describe());
}
