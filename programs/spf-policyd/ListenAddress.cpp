#include "programs/spf-policyd/ListenAddress.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <utility>

#include "framework/core/Exceptions.h"
#include "framework/net/Socket.h"
#include "programs/spf-policyd/SettingText.h"
#include "tool/SenderCheck.h"

namespace {

constexpr std::string_view kUnix = "unix:";

// Owns a stream socket, and closes it unless it is released.
class Listener : public Socket {
 public:
  Listener(int family, const std::string& name) : Socket(0, 0), m_name(name) {
    CreateSocket(family, SOCK_STREAM | SOCK_CLOEXEC, 0, true);
  }

  void ListenAt(const sockaddr* address, socklen_t length) {
    if (bind(m_descriptor, address, length) < 0) {
      ThrowSocketError("cannot listen on " + m_name + ": bind", 0);
    }
    if (listen(m_descriptor, SOMAXCONN) < 0) {
      ThrowSocketError("cannot listen on " + m_name + ": listen", 0);
    }
  }

  bool CanConnectTo(const sockaddr_un& address) const {
    return connect(m_descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
  }

  int GiveAway() { return std::exchange(m_descriptor, 0); }

 private:
  std::string m_name;
};

}  // namespace

ListenAddress::ListenAddress(const std::string& text) {
  if (text.starts_with(kUnix)) {
    m_path = text.substr(kUnix.size());
    if (!m_path.starts_with('/') || m_path.size() >= sizeof(sockaddr_un::sun_path)) {
      throw StdException("not an absolute path of at most 107 characters: " + text);
    }
    return;
  }
  const std::size_t colon = text.rfind(':');
  const std::string port = colon == std::string::npos ? "" : text.substr(colon + 1);
  m_address = text.substr(0, colon);
  const int number = ReadDigits(port, 5);
  if (!SenderCheck::IsAddress(m_address) || number < 1 || number > 65535) {
    throw StdException("neither ADDRESS:PORT nor unix:PATH: " + text);
  }
  m_port = static_cast<unsigned short>(number);
}

int ListenAddress::Open() const {
  return m_path.empty() ? OpenInternet() : OpenUnix();
}

int ListenAddress::OpenInternet() const {
  Listener listener(AF_INET, m_address + ":" + std::to_string(m_port));
  listener.SetSocketOptionsReUseAddress();
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(m_port);
  address.sin_addr.s_addr = inet_addr(m_address.c_str());
  listener.ListenAt(reinterpret_cast<const sockaddr*>(&address), sizeof(address));
  return listener.GiveAway();
}

int ListenAddress::OpenUnix() const {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  m_path.copy(address.sun_path, sizeof(address.sun_path) - 1);
  struct stat file {};
  if (lstat(m_path.c_str(), &file) == 0 && S_ISSOCK(file.st_mode) &&
      !Listener(AF_UNIX, m_path).CanConnectTo(address) && errno == ECONNREFUSED) {
    unlink(m_path.c_str());
  }
  Listener listener(AF_UNIX, m_path);
  listener.ListenAt(reinterpret_cast<const sockaddr*>(&address), sizeof(address));
  chmod(m_path.c_str(), 0666);
  return listener.GiveAway();
}
