// ScriptedNetwork is a network in which one name server answers each query at once with one
// datagram. Nothing leaves the process: it replaces sendto(), recvfrom(), select() and poll() in
// programs that link it.

#pragma once

#include <functional>

#include "tests/support/Bytes.h"

class ScriptedNetwork {
 public:
  using Server = std::function<Bytes(const Bytes& query)>;

  // Makes `server` the name server of the process while the object exists. One at a time.
  explicit ScriptedNetwork(Server server);
  ~ScriptedNetwork();

  ScriptedNetwork(const ScriptedNetwork&) = delete;
  ScriptedNetwork& operator=(const ScriptedNetwork&) = delete;
};
