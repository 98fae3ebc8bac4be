// The mail of most tests: that of example.org, whose record passes kGood and fails kBad.

#pragma once

#include <string>

#include "tests/spf_policyd/PolicyClient.h"
#include "tests/support/ScriptedNameServer.h"

inline constexpr char kGood[] = "192.0.2.7";
inline constexpr char kBad[] = "198.51.100.7";
inline const ScriptedNameServer::Zone kZone = {
    {"TXT example.org", {"v=spf1 ip4:192.0.2.0/24 -all"}}};

// A request that needs no check, and is answered DUNNO.
inline const std::string kUnchecked = "name=value\n\n";

// Return requests, each for a message of its own, or for a recipient of `message`.
inline std::string Mail() {
  return Request(kGood, "a@example.org");
}
inline std::string Mail(const std::string& recipient, const std::string& message) {
  return Request(kGood, "a@example.org", recipient, message);
}
inline std::string Forged() {
  return Request(kBad, "a@example.org");
}
inline std::string Forged(const std::string& recipient, const std::string& message) {
  return Request(kBad, "a@example.org", recipient, message);
}

// Asks about a mail of another domain on each connection.
inline void AskOnAll(const PolicyClients& clients) {
  for (std::size_t i = 0; i < clients.size(); ++i) {
    const std::string number = std::to_string(i);
    clients[i]->Write(Request("198.51.100." + std::to_string(i % 100), "a@" + number + ".test"));
  }
}
