// Three machines to log in to: addresses of the loopback network, each with an sshd, for programs
// with the main() of HostsMain.cpp. All files that sshd and ssh read belong to the tests.

#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "tests/support/TemporaryDirectory.h"

class SshHosts {
 public:
  // Starts the hosts 127.0.0.11 to 127.0.0.13, each with a home directory, and with an spf-bulk in
  // its PATH that counts its calls.
  SshHosts();
  ~SshHosts();

  SshHosts(const SshHosts&) = delete;
  SshHosts& operator=(const SshHosts&) = delete;

  // Returns the path of sshd: unpacked by scripts/test, or installed.
  static std::string FindServerProgram();

  // Returns the home directory of the user who logs in to the hosts.
  std::string GetHome() const { return m_directory.Path("home"); }

  // Stops the sshd of a host, numbered from 0.
  void Stop(std::size_t host);

  // Remove spf-bulk from a host, and put it back.
  void TakeProgram(std::size_t host) const;
  void GiveProgram(std::size_t host) const;

  // Returns how often spf-bulk was called on a host.
  std::size_t CountCalls(std::size_t host) const;

 private:
  void ReplaceSystemFiles() const;
  void MakeKeys() const;
  void Start(std::size_t host);

  TemporaryDirectory m_directory;
  std::vector<pid_t> m_servers;
};
