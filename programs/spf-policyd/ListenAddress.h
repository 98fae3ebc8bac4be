// ListenAddress is where the service listens: an IPv4 address with a port, or a path of the file
// system.
//
// A value type. Open() does not block.

#pragma once

#include <string>

class ListenAddress {
 public:
  // `text`: ADDRESS:PORT, or unix:PATH. Throws a StdException for anything else.
  explicit ListenAddress(const std::string& text);

  // Opens a listening, non-blocking socket, which the caller owns. A socket file that nobody
  // listens to any more is replaced; a new one is for all users of the host. Throws a
  // SocketException.
  int Open() const;

 private:
  int OpenInternet() const;
  int OpenUnix() const;

  std::string m_address;  // dotted quad; empty: a path
  std::string m_path;
  unsigned short m_port = 0;
};
