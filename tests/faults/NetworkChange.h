// Changes of the private network, each undone when its object goes away.

#pragma once

#include <string>

// The loopback interface is down.
class LoopbackDown {
 public:
  LoopbackDown();
  ~LoopbackDown();

  LoopbackDown(const LoopbackDown&) = delete;
  LoopbackDown& operator=(const LoopbackDown&) = delete;
};

// An address, dotted quad, is one of the loopback interface's.
class LoopbackAddress {
 public:
  explicit LoopbackAddress(const std::string& dottedQuad);
  ~LoopbackAddress();

  LoopbackAddress(const LoopbackAddress&) = delete;
  LoopbackAddress& operator=(const LoopbackAddress&) = delete;
};

// The route to an address says that the host there cannot be reached.
class RejectingRoute {
 public:
  explicit RejectingRoute(const std::string& dottedQuad);
  ~RejectingRoute();

  RejectingRoute(const RejectingRoute&) = delete;
  RejectingRoute& operator=(const RejectingRoute&) = delete;

 private:
  std::string m_address;
};
