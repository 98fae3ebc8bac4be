// ListenAddress is the address where the service listens: an IPv4 address with a port, or a path.
//
// A value type. Open() does not block.

#pragma once

#include <string>

class ListenAddress {
 public:
  // Reads `text`, ADDRESS:PORT or unix:PATH. Throws a StdException for anything else.
  explicit ListenAddress(const std::string& text);

  // Opens a listening, non-blocking socket, which the caller owns. Replaces a socket file on which
  // nobody listens any more; all users of the host may use the new one. Throws a SocketException.
  int Open() const;

 private:
  int OpenInternet() const;
  int OpenUnix() const;

  std::string m_address;  // dotted quad; empty for a path
  std::string m_path;
  unsigned short m_port = 0;
};
