// Three machines to log in to, which are addresses of the loopback network with an sshd each, for
// programs that have a main() of HostsMain.cpp. All that sshd and ssh read is the tests' own.

#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "tests/support/TemporaryDirectory.h"

class SshHosts {
 public:
  // Makes the hosts 127.0.0.11 to 127.0.0.13. Each has a home directory, and spf-bulk in its PATH,
  // which notes its calls.
  SshHosts();
  ~SshHosts();

  SshHosts(const SshHosts&) = delete;
  SshHosts& operator=(const SshHosts&) = delete;

  // Returns the path of sshd, which scripts/test unpacks below build/.
  static std::string FindServerProgram();

  // Returns the home directory of whoever logs in to the hosts.
  std::string GetHome() const { return m_directory.Path("home"); }

  // Stops the sshd of a host, numbered from 0.
  void Stop(std::size_t host);

  // Takes spf-bulk away from a host, and gives it back.
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
