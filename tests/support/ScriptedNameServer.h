// A UDP name server that answers with exactly the bytes that a test gives it.

#pragma once

#include <cstdint>
#include <functional>
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

  // Listens on 127.0.0.1, port 53, until the object goes away. The script runs on a thread of the
  // server's own. Throws std::system_error when the port cannot be had.
  explicit ScriptedNameServer(Script script);
  ~ScriptedNameServer();

  ScriptedNameServer(const ScriptedNameServer&) = delete;
  ScriptedNameServer& operator=(const ScriptedNameServer&) = delete;

  // The queries so far, in the order of their arrival.
  std::vector<Bytes> Queries() const;

 private:
  void Serve();

  Script m_script;
  int m_socket;
  int m_stop[2];  // a pipe; closing its write end stops the server
  mutable std::mutex m_mutex;
  std::vector<Bytes> m_queries;  // guarded by m_mutex
  std::thread m_thread;
};
