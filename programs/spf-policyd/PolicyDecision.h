// PolicyDecision decides what Postfix is to do with a mail: spf-policyd(8) lists the actions, and
// says which domain is checked.
//
// A check of a domain in `refuse` that ends without a verdict because an answer is missing is
// repeated, up to kMostTries times in all. Each try except the last may take only a small part of
// the time, so that a lost answer does not use up all of it.
//
// One thread at a time. The constructor blocks as SenderCheck does.

#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "framework/logging/Logger.h"
#include "programs/spf-policyd/MessageMemory.h"
#include "programs/spf-policyd/Places.h"
#include "programs/spf-policyd/PolicyRequest.h"
#include "programs/spf-policyd/Settings.h"
#include "tool/SenderCheck.h"

class PolicyDecision {
 public:
  static constexpr int kMostTries = 8;

  // Decides on `request`. A check takes one of `places`, and ends when the peer of `connection`, a
  // descriptor, hangs up. All arguments must outlive the object.
  PolicyDecision(const PolicyRequest& request, const Settings& settings, Places& places,
                 MessageMemory& memory, int connection);

  // Returns the answer: the action, or DUNNO while the service is on trial.
  std::string GetAnswer() const;

  // Writes the line of the log. If the answer was delivered, remembers it for further recipients.
  void Conclude(bool isDelivered);

 private:
  void Decide();
  bool DecideByMemory(bool isNamed);
  void Check(const std::string& address, const std::string& domain, bool isNamed);
  bool Try(const std::string& address, const std::string& domain,
           std::chrono::steady_clock::time_point deadline);
  void Act(const std::string& address, const std::string& domain, bool isNamed);
  std::string MessageName() const;

  const PolicyRequest& m_request;
  const Settings& m_settings;
  Places& m_places;
  MessageMemory& m_memory;
  int m_connection;

  std::chrono::steady_clock::time_point m_start;
  std::string m_action = "DUNNO";
  SenderCheck::Verdict m_verdict = SenderCheck::Verdict::kNoVerdict;
  std::string m_reason;
  std::string m_domain = "-";
  std::uint32_t m_lookUps = 0;
  bool m_isFirst = false;  // the first recipient of its message
  bool m_isChecked = false;
  fwk::LogLevel m_level = fwk::Info;
};
