// A name server that sends each reply after a delay of its own, and serves other queries meanwhile.

#pragma once

#include <netinet/in.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/ReplyBuilder.h"

class DelayedNameServer {
 public:
  struct Reply {
    std::string question;  // "A example.org"; the types A, NS and TXT
    std::chrono::milliseconds delay;
    std::string value;
  };

  // Listens on address, port 53, until the object goes away. A query gets all the replies that
  // stand here for its question; another none. Throws std::system_error when the port cannot be
  // had.
  explicit DelayedNameServer(std::vector<Reply> replies, const std::string& address = "127.0.0.1");
  ~DelayedNameServer();

  DelayedNameServer(const DelayedNameServer&) = delete;
  DelayedNameServer& operator=(const DelayedNameServer&) = delete;

 private:
  using Clock = std::chrono::steady_clock;
  struct Letter {
    sockaddr_in to;
    Bytes bytes;
  };

  void Serve();
  int MillisecondsToNext() const;  // -1 when nothing waits to be sent
  void Accept();
  void SendWhatIsDue();

  std::vector<Reply> m_replies;
  int m_socket;
  int m_stop[2];  // a pipe; closing its write end stops the server
  std::multimap<Clock::time_point, Letter> m_letters;
  std::thread m_thread;
};
