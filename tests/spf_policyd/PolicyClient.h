// Postfix's side of a connection. All waits are bounded.

#pragma once

#include <memory>
#include <string>
#include <vector>

class PolicyClient {
 public:
  // Where the service listens by default.
  static constexpr unsigned short kPort = 10040;

  // Connects to 127.0.0.1; tries again for 10 s while nothing listens there, then throws a
  // std::runtime_error.
  explicit PolicyClient(unsigned short port = kPort);

  // Connects to a Unix socket in the same way.
  explicit PolicyClient(const std::string& path);
  ~PolicyClient();

  PolicyClient(const PolicyClient&) = delete;
  PolicyClient& operator=(const PolicyClient&) = delete;

  // Writes all of `text`. Returns false if the peer has gone.
  bool Write(const std::string& text) const;

  // Shuts down the sending side.
  void EndWriting() const;

  // Reads an answer, for at most 20 s, and returns its action. If the connection ends: the text so
  // far and "closed".
  std::string ReadAction();

  // Writes a request and reads its action.
  std::string Ask(const std::string& request);

  // Returns whether an answer or the end comes within so many milliseconds.
  bool HasAnswer(int milliseconds) const;

 private:
  int m_descriptor;
  std::string m_received;  // but not returned yet
};

using PolicyClients = std::vector<std::unique_ptr<PolicyClient>>;

// Returns `count` clients of the default port.
PolicyClients MakeClients(int count);

// Returns a request of Postfix, for a recipient of a new message.
std::string Request(const std::string& address, const std::string& sender);

// The same for `recipient` of the message `instance`.
std::string Request(const std::string& address, const std::string& sender,
                    const std::string& recipient, const std::string& instance);
