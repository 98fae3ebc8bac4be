// Postfix's side of a connection: requests are written and answers read. All waits are bounded.

#pragma once

#include <memory>
#include <string>
#include <vector>

class PolicyClient {
 public:
  // Where the service listens by default.
  static constexpr unsigned short kPort = 10040;

  // Connects to 127.0.0.1; for as long as 10 s it tries again while nothing listens there. Throws a
  // std::runtime_error when nothing does.
  explicit PolicyClient(unsigned short port = kPort);

  // Connects to a Unix socket in the same way.
  explicit PolicyClient(const std::string& path);
  ~PolicyClient();

  PolicyClient(const PolicyClient&) = delete;
  PolicyClient& operator=(const PolicyClient&) = delete;

  // Writes all of `text`; false when the peer has gone.
  bool Write(const std::string& text) const;

  // Says that no more will be written.
  void EndWriting() const;

  // Reads up to the end of an answer, for at most 20 s, and returns its action. Where the
  // connection ends, "closed" follows what was read.
  std::string ReadAction();

  // Writes a request and reads its action.
  std::string Ask(const std::string& request);

  // Returns whether anything, the end included, comes within so many milliseconds.
  bool HasAnswer(int milliseconds) const;

 private:
  int m_descriptor;
  std::string m_received;  // and not read yet
};

using PolicyClients = std::vector<std::unique_ptr<PolicyClient>>;

// Returns so many clients of the default port.
PolicyClients MakeClients(int count);

// Returns a request as Postfix makes it for a recipient, of a message of its own.
std::string Request(const std::string& address, const std::string& sender);

// Returns the same for a recipient of the message `instance`.
std::string Request(const std::string& address, const std::string& sender,
                    const std::string& recipient, const std::string& instance);
