// A UDP name server that sends exactly the bytes that a test wants, when it wants.

#pragma once

#include <netinet/in.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/Bytes.h"

using Datagrams = std::vector<Bytes>;

// The script of a server that never answers.
inline Datagrams Silence(const Bytes& /*query*/) {
  return {};
}

class ScriptedNameServer {
 public:
  // Returns the replies to a query, any number of datagrams.
  using Script = std::function<Datagrams(const Bytes& query)>;

  // The values of a reply in their order, by question ("A example.org"; the root is "").
  using Zone = std::map<std::string, std::vector<std::string>>;

  // A reply that is sent some time after its question; other queries are served meanwhile.
  struct DelayedReply {
    std::string question;
    std::chrono::milliseconds delay;
    std::string value;
  };

  // Listens on port 53 of 127.0.0.1. Calls `script` on a thread of its own. Throws
  // std::system_error if the port is taken.
  explicit ScriptedNameServer(Script script);

  // The same with replies from `replyAddress` and another port.
  ScriptedNameServer(Script script, const std::string& replyAddress);

  // Sends well-formed replies from `zone`, without answers for other questions.
  explicit ScriptedNameServer(Zone zone);

  // Listens on `address` and sends all replies that have the question of a query.
  ScriptedNameServer(const std::string& address, std::vector<DelayedReply> replies);
  ~ScriptedNameServer();

  ScriptedNameServer(const ScriptedNameServer&) = delete;
  ScriptedNameServer& operator=(const ScriptedNameServer&) = delete;

  // Returns the reply that a server of `zone` sends.
  static Bytes AnswerFrom(const Zone& zone, const Bytes& query);

  // Returns the question of a query: "A", "NS", "TXT" or another type as a number, a blank, the
  // name.
  static std::string QuestionOf(const Bytes& query);

  // Returns whether a query comes within 30 s.
  bool IsAsked() const;

  // Returns the queries so far, in the order of their arrival, or their questions.
  std::vector<Bytes> Queries() const;
  std::vector<std::string> Questions() const;

 private:
  using Clock = std::chrono::steady_clock;
  struct Letter {
    sockaddr_in to;
    Bytes bytes;
  };
  using Letters = std::multimap<std::chrono::milliseconds, Bytes>;  // by their delay

  ScriptedNameServer(std::function<Letters(const Bytes& query)> script, int socket,
                     int replySocket);

  void Serve();
  int MillisecondsToNext() const;  // -1 if nothing waits to be sent
  void Accept();
  void SendDue();

  std::function<Letters(const Bytes& query)> m_script;
  int m_socket;
  int m_replySocket;  // perhaps m_socket
  int m_stop[2];      // a pipe; closing its write end stops the server
  std::multimap<Clock::time_point, Letter> m_letters;
  mutable std::mutex m_mutex;
  std::vector<Bytes> m_queries;  // guarded by m_mutex
  std::thread m_thread;
};
