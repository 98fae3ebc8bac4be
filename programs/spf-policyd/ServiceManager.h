// ServiceManager communicates with systemd, if systemd started the program: it takes over the
// sockets that systemd has opened, and reports when the program is ready. Otherwise it does
// nothing.
//
// TakeListeners() is for the main thread, before others run; any thread may call Notify(). Nothing
// blocks.

#pragma once

#include <string>
#include <vector>

class ServiceManager {
 public:
  ServiceManager() = delete;

  // Returns the listening sockets from systemd (sd_listen_fds(3)), which the caller then owns.
  // Makes them non-blocking and closed on exec. Throws a SocketException for a descriptor that is
  // not a listening socket.
  static std::vector<int> TakeListeners();

  // Sends `state`, such as "READY=1" (sd_notify(3)).
  static void Notify(const std::string& state);
};
