// The commands in docs/bulk.md that share a list among machines.

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>

#include "tests/spf_bulk/BulkRunTest.h"
#include "tests/spf_bulk/hosts/SshHosts.h"
#include "tests/support/ChildProcess.h"

namespace {

// Returns the file `name` as the page shows it.
std::string ReadBlock(const std::string& name) {
  std::ifstream page(PAGE);
  std::string block;
  bool isInside = false;
  for (std::string line; std::getline(page, line);) {
    if (isInside && line == "```") {
      return block;
    }
    block += isInside ? line + "\n" : "";
    isInside = isInside || line == "```sh " + name;
  }
  ADD_FAILURE() << "no block " << name;
  return "";
}

class ManyHostsTest : public BulkRunTest {
 protected:
  ManyHostsTest() {
    setenv("HOME", m_hosts.GetHome().c_str(), 1);
    std::string input = "domain,ip,sender\n";
    for (int i = 0; i < 400; ++i) {
      const std::string number = std::to_string(i);
      input += i % 50 == 7 ? "malformed" + number + "\n"
                           : (i % 3 == 0 ? "pass" : "fail") + number + ".test,192.0.2.1,\n";
    }
    m_directory.Write("senders.csv", input);
    m_directory.Write("hosts", "127.0.0.11\n127.0.0.12\n127.0.0.13\n");
    std::string cut = ReadBlock("cut-list");
    cut.replace(cut.find("l/16"), 4, "l/4");  // more take long
    m_directory.Write("cut-list", cut);
    m_directory.Write("check-on-hosts", ReadBlock("check-on-hosts"));
    m_directory.Write("join-results", ReadBlock("join-results"));
    EXPECT_EQ(
        m_directory.Run({"--output", "wanted.csv", "--errors", "wanted.errors", "senders.csv"})
            .exitStatus,
        1);
    EXPECT_EQ(Do("cut-list").exitStatus, 0);
  }

  ChildResult Do(const std::string& script) const {
    return m_directory.Start(m_directory.Read(script), {}).Wait();
  }

  // Checks on the hosts, and expects that all parts together are the result of one machine.
  void ExpectAllAreChecked() const {
    for (const char* const script : {"check-on-hosts", "join-results"}) {
      const ChildResult result = Do(script);
      EXPECT_EQ(result.exitStatus, 0) << result.standardError;
    }
    EXPECT_EQ(m_directory.Read("verdicts.csv"), m_directory.Read("wanted.csv"));
    EXPECT_EQ(m_directory.Read("errors.csv"), m_directory.Read("wanted.errors"));
  }

  SshHosts m_hosts;
};

TEST_F(ManyHostsTest, HostsShareAListAndItComesBackInOrder) {
  ExpectAllAreChecked();
  for (std::size_t host = 0; host < 3; ++host) {
    EXPECT_GT(m_hosts.CountCalls(host), 0U) << host;
  }
}

TEST_F(ManyHostsTest, OtherHostsTakeOverFromOneThatFails) {
  m_hosts.Stop(0);
  m_hosts.TakeProgram(1);
  ExpectAllAreChecked();
  EXPECT_EQ(m_hosts.CountCalls(0) + m_hosts.CountCalls(1), 0U);
}

TEST_F(ManyHostsTest, IfAllHostsFailTheCommandMayBeRepeated) {
  for (std::size_t host = 0; host < 3; ++host) {
    m_hosts.TakeProgram(host);
  }
  EXPECT_NE(Do("check-on-hosts").exitStatus, 0);
  for (std::size_t host = 0; host < 3; ++host) {
    m_hosts.GiveProgram(host);
  }
  ExpectAllAreChecked();
}

TEST_F(ManyHostsTest, ACommandThatWasKilledContinuesWhenItIsRepeated) {
  ChildProcess run = m_directory.Start("exec " + m_directory.Read("check-on-hosts"), {});
  while (m_hosts.CountCalls(0) + m_hosts.CountCalls(1) + m_hosts.CountCalls(2) < 2) {
    usleep(10000);
  }
  run.Signal(SIGKILL);
  EXPECT_EQ(run.Wait().signal, SIGKILL);
  ExpectAllAreChecked();
}

}  // namespace
