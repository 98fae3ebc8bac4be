// A real Postfix in directories of its own, with the network 127.0.0.0/8. It asks the service at
// 127.0.0.1 about mail for mail.test, which it delivers to files.

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

class RunningPostfix {
 public:
  // Starts it and waits until it listens. /etc must be the test's own.
  RunningPostfix();
  ~RunningPostfix();

  RunningPostfix(const RunningPostfix&) = delete;
  RunningPostfix& operator=(const RunningPostfix&) = delete;

  // Returns the directory where it is unpacked; empty for the installed one.
  static std::string Directory();

  // Returns the mails for a user of mail.test so far, with their headers.
  std::vector<std::string> MailsOf(const std::string& user) const;

  // Waits for `count` mails, at most 30 s, and returns them.
  std::vector<std::string> MailsOf(const std::string& user, std::size_t count) const;

  std::string Log() const { return m_directory.Read("maillog"); }

 private:
  void MakeUsers() const;
  void MakeDirectories() const;
  void Configure() const;

  TemporaryDirectory m_directory;
  std::unique_ptr<ChildProcess> m_master;
};

// Sends a mail from `client`, which becomes an address of this machine, until a reply refuses
// something. Returns the last reply. `header`: lines with their line ends.
std::string SendMail(const std::string& client, const std::string& sender,
                     const std::vector<std::string>& recipients, const std::string& header = "");
