// A UDP name server that answers with exactly the bytes that a test gives it, when the test says.

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

// The script of a server that does not answer.
inline Datagrams Silence(const Bytes& /*query*/) {
  return {};
}

class ScriptedNameServer {
 public:
  // What to send back for a query: any number of datagrams, none included.
  using Script = std::function<Datagrams(const Bytes& query)>;

  // The values that a name server knows, by question ("A example.org"; the root is ""), in the
  // order of the reply.
  using Zone = std::map<std::string, std::vector<std::string>>;

  // A reply that is sent some time after its question, other queries being served meanwhile.
  struct DelayedReply {
    std::string question;
    std::chrono::milliseconds delay;
    std::string value;
  };

  // Listens on 127.0.0.1, port 53, until the object goes away. The script runs on a thread of the
  // server's own. Throws std::system_error when the port cannot be had.
  explicit ScriptedNameServer(Script script);

  // As above, and sends its replies from another address of the loopback network, and port.
  ScriptedNameServer(Script script, const std::string& replyAddress);

  // Answers from zone, well formed; with an answer count of 0 for what zone does not hold.
  explicit ScriptedNameServer(Zone zone);

  // Listens on `address` and sends for a query all the replies to its question.
  ScriptedNameServer(const std::string& address, std::vector<DelayedReply> replies);
  ~ScriptedNameServer();

  ScriptedNameServer(const ScriptedNameServer&) = delete;
  ScriptedNameServer& operator=(const ScriptedNameServer&) = delete;

  // Returns the reply that a server of `zone` sends.
  static Bytes AnswerFrom(const Zone& zone, const Bytes& query);

  // Returns what a query asks: "A", "NS" or "TXT" (another type as a number), a blank and the name.
  static std::string QuestionOf(const Bytes& query);

  // Returns whether a query comes in time.
  bool IsAsked() const;

  // The queries so far, in the order of their arrival.
  std::vector<Bytes> Queries() const;

  // What they asked.
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
  int MillisecondsToNext() const;  // -1 when nothing waits to be sent
  void Accept();
  void SendWhatIsDue();

  std::function<Letters(const Bytes& query)> m_script;
  int m_socket;
  int m_replySocket;  // m_socket or one of its own
  int m_stop[2];      // a pipe; closing its write end stops the server
  std::multimap<Clock::time_point, Letter> m_letters;
  mutable std::mutex m_mutex;
  std::vector<Bytes> m_queries;  // guarded by m_mutex
  std::thread m_thread;
};
