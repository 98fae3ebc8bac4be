// PolicyDecision decides what Postfix is to do with a mail. Its action is one of these:
//
//   PREPEND X-SPF-Check: HOST; VERDICT; client=ADDRESS; domain=DOMAIN; REASON
//     for the first recipient of each mail from an outside client, also where nothing was checked
//   550 5.7.23 ...
//     for every recipient, when the verdict is "failed" and the domain is one of `refuse`
//   DUNNO
//     for another protocol state, a client in a skipped network, and the further recipients of a
//     message that has its header
//
// The domain is that of the sender; for a bounce, which has no sender, the name in HELO. A check of
// a domain in `refuse` that ends without a verdict because an answer is missing is made again, up
// to kMostTries times in all. Each but the last may take a small part of the time only, so that a
// lost answer does not use up all of it.
//
// One thread at a time. Making one blocks as SenderCheck does.

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

  // Decides on `request`. A check takes one of `places` and ends when the peer of `connection`
  // hangs up. All arguments must outlive the object.
  PolicyDecision(const PolicyRequest& request, const Settings& settings, Places& places,
                 MessageMemory& memory, int connection);

  // Returns what to answer: the action, or DUNNO while the service is on trial.
  std::string GetAnswer() const;

  // Notes that the answer was delivered: remembers it for further recipients and writes the line of
  // the log.
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
  bool m_isFirst = false;  // of its message
  bool m_isChecked = false;
  fwk::LogLevel m_level = fwk::Info;
};
