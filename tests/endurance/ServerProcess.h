// A scripted name server in a process of its own, so that what it keeps is not this one's.

#pragma once

#include <sys/types.h>

#include "tests/support/ScriptedNameServer.h"

class ServerProcess {
 public:
  // Returns when the server listens. To be called while this process has one thread.
  explicit ServerProcess(const ScriptedNameServer::Zone& zone);
  ~ServerProcess();  // ends it

  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

 private:
  pid_t m_process;
};
