// ScriptedNetwork is a network in which one name server answers each query at once with one
// datagram. Nothing leaves the process: a program that links it has a sendto(), a recvfrom(), a
// select() and a poll() of its own, in place of the C library's.

#pragma once

#include <functional>
#include <vector>

#include "tests/support/Bytes.h"

class ScriptedNetwork {
 public:
  using Server = std::function<Bytes(const Bytes& query)>;

  // The process's name server is server while the object exists; one at a time.
  explicit ScriptedNetwork(Server server);
  ~ScriptedNetwork();

  ScriptedNetwork(const ScriptedNetwork&) = delete;
  ScriptedNetwork& operator=(const ScriptedNetwork&) = delete;
};
