// What Postfix does with a policy service: one connection, on which requests are written and
// answers read. All waits are bounded.

#pragma once

#include <string>

class PolicyClient {
 public:
  // Connects to 127.0.0.1; for as long as 10 s it tries again while nothing listens there.
  explicit PolicyClient(const std::string& port);
  // Takes over a descriptor.
  explicit PolicyClient(int descriptor);
  ~PolicyClient();

  PolicyClient(const PolicyClient&) = delete;
  PolicyClient& operator=(const PolicyClient&) = delete;

  // Writes all of text; false when the peer has gone.
  bool Write(const std::string& text) const;

  // No more will be written.
  void EndWriting() const;

  // Reads up to an answer's end, waiting for up to 20 s. At the end of the connection, however it
  // came, "closed" stands behind what was read.
  std::string ReadAnswer() const;

  // Whether anything, the end included, comes within so many milliseconds.
  bool HasAnswer(int milliseconds) const;

 private:
  int m_descriptor;
};

// A whole request of Postfix.
std::string Request(const std::string& address, const std::string& sender);
