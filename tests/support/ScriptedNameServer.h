// A UDP name server that answers with exactly the bytes that a test gives it.

#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using Bytes = std::vector<unsigned char>;
using Datagrams = std::vector<Bytes>;

class ScriptedNameServer {
 public:
  // What to send back for a query: any number of datagrams, none included.
  using Script = std::function<Datagrams(const Bytes& query)>;

  // The values that a name server knows, by question ("A example.org"; the root is ""), in the
  // order of the reply.
  using Zone = std::map<std::string, std::vector<std::string>>;

  // Listens on 127.0.0.1, port 53, until the object goes away. The script runs on a thread of the
  // server's own. Throws std::system_error when the port cannot be had.
  explicit ScriptedNameServer(Script script);

  // As above, and sends its replies from another address of the loopback network, and port.
  ScriptedNameServer(Script script, const std::string& replyAddress);

  // Answers from zone, well formed; with an answer count of 0 for what zone does not hold.
  explicit ScriptedNameServer(Zone zone);
  ~ScriptedNameServer();

  ScriptedNameServer(const ScriptedNameServer&) = delete;
  ScriptedNameServer& operator=(const ScriptedNameServer&) = delete;

  // Returns the reply that a server of `zone` sends.
  static Bytes AnswerFrom(const Zone& zone, const Bytes& query);

  // Returns what a query asks: "A", "NS" or "TXT" (another type as a number), a blank and the name.
  static std::string QuestionOf(const Bytes& query);

  // The queries so far, in the order of their arrival.
  std::vector<Bytes> Queries() const;

  // What they asked.
  std::vector<std::string> Questions() const;

 private:
  ScriptedNameServer(Script script, int replySocket);

  void Serve();

  Script m_script;
  int m_socket;
  int m_replySocket;  // m_socket or one of its own
  int m_stop[2];      // a pipe; closing its write end stops the server
  mutable std::mutex m_mutex;
  std::vector<Bytes> m_queries;  // guarded by m_mutex
  std::thread m_thread;
};
