// A real Postfix in directories of its own, which asks the service at 127.0.0.1 about the mail that
// it takes for mail.test, and delivers that to files. Its own network is 127.0.0.0/8.

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

  // Returns where it is unpacked; empty for the installed one.
  static std::string Directory();

  // Returns the mails that came for a user of mail.test so far, each with its header.
  std::vector<std::string> MailsOf(const std::string& user) const;

  // Waits, at most 10 s, until so many came.
  std::vector<std::string> MailsOf(const std::string& user, std::size_t count) const;

  std::string Log() const { return m_directory.Read("maillog"); }

 private:
  void MakeUsers() const;
  void MakeDirectories() const;
  void Configure() const;

  TemporaryDirectory m_directory;
  std::unique_ptr<ChildProcess> m_master;
};

// Sends a mail as the host with `client`, an address that this makes one of this machine's, up to
// the first reply that refuses something. Returns that or the last reply. `header`: lines with
// their ends.
std::string SendMail(const std::string& client, const std::string& sender,
                     const std::vector<std::string>& recipients, const std::string& header = "");
