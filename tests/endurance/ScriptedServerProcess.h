// A scripted name server in a process of its own, so that what it keeps is not this one's.

#pragma once

#include <sys/types.h>

#include "tests/support/ScriptedNameServer.h"

class ScriptedServerProcess {
 public:
  // Returns when the server listens. To be called while this process has one thread.
  explicit ScriptedServerProcess(const ScriptedNameServer::Zone& zone);
  ~ScriptedServerProcess();  // ends it

  ScriptedServerProcess(const ScriptedServerProcess&) = delete;
  ScriptedServerProcess& operator=(const ScriptedServerProcess&) = delete;

 private:
  pid_t m_process;
};
