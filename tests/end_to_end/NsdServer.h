// A real name server: Debian's nsd on 127.0.0.1, port 53, with the zones of this folder.

#pragma once

#include <sys/types.h>

#include "tests/support/TemporaryDirectory.h"

class NsdServer {
 public:
  // Starts the server and waits until it answers, at most 10 s. Throws std::runtime_error with the
  // server's own log when it does not.
  NsdServer();
  ~NsdServer();

  NsdServer(const NsdServer&) = delete;
  NsdServer& operator=(const NsdServer&) = delete;

 private:
  void WriteConfiguration() const;
  bool WaitForAnswer() const;

  TemporaryDirectory m_directory;
  pid_t m_process;
};
