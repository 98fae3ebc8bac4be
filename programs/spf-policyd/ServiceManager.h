// ServiceManager speaks with systemd, if that started the program: it takes the sockets that were
// opened for the program, and tells when the program is ready. Elsewhere it does nothing.
//
// For the main thread, before others run; Notify() for any. Nothing blocks.

#pragma once

#include <string>
#include <vector>

class ServiceManager {
 public:
  ServiceManager() = delete;

  // Returns the listening sockets that were handed over (sd_listen_fds(3)), which the caller owns
  // then; they are set non-blocking and are not passed on to other programs. Throws a
  // SocketException for a descriptor that is not one.
  static std::vector<int> TakeListeners();

  // Sends `state`, such as "READY=1" (sd_notify(3)).
  static void Notify(const std::string& state);
};
