#include "programs/spf-policyd/ServiceManager.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>

#include "framework/Utilities/StringUtilities.h"
#include "framework/core/Exceptions.h"

namespace {

constexpr int kFirstListener = 3;
constexpr int kMostListeners = 16;

bool IsListener(int descriptor) {
  int isListening = 0;
  socklen_t length = sizeof(isListening);
  return getsockopt(descriptor, SOL_SOCKET, SO_ACCEPTCONN, &isListening, &length) == 0 &&
         isListening != 0;
}

std::string GetVariable(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

}  // namespace

std::vector<int> ServiceManager::TakeListeners() {
  std::vector<int> listeners;
  if (GetVariable("LISTEN_PID") != std::to_string(getpid())) {
    return listeners;
  }
  const int count = std::min(StringToIntOr(GetVariable("LISTEN_FDS"), 0), kMostListeners);
  for (int descriptor = kFirstListener; descriptor < kFirstListener + count; ++descriptor) {
    if (!IsListener(descriptor)) {
      throw SocketException("descriptor " + std::to_string(descriptor) +
                            " of LISTEN_FDS is not a listening socket");
    }
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
    listeners.push_back(descriptor);
  }
  return listeners;
}

void ServiceManager::Notify(const std::string& state) {
  const std::string path = GetVariable("NOTIFY_SOCKET");
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof(address.sun_path)) {
    return;
  }
  path.copy(address.sun_path, path.size());
  if (path.front() == '@') {
    address.sun_path[0] = '\0';  // an abstract name
  }
  const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor >= 0) {
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    sendto(descriptor, state.data(), state.size(), MSG_NOSIGNAL,
           reinterpret_cast<const sockaddr*>(&address), length);
    close(descriptor);
  }
}
