// PolicyDecision decides what Postfix is to do with a mail: it looks up the record of the sender's
// domain and lets SPFCheck evaluate it.
//
// The action is one of two:
//
//   DUNNO
//     nothing against the mail; Postfix goes on with its next restriction
//   550 5.7.23 SPF: ADDRESS may not send mail for DOMAIN
//     the domain publishes a record, and no term of it matched (RFC 7372)
//
// It is DUNNO also where there is nothing to decide, or no way to: the request is not
// "smtpd_access_policy", its protocol_state not "RCPT", the client's address no dotted quad (IPv6
// has none); there is no domain, it publishes no record, or the name server is silent about it; the
// check throws, as malformed records make it; or kMaxChecks others are under way.
//
// SPFCheck is simpler than SPF itself (SPFCheck.h): no host matches by "mx" or "ip6", "~all" and
// "?all" refuse as "-all" does, and so does a term whose look-up nobody answers.
//
// One thread at a time. Making one blocks as the look-ups do, of which a record may ask for tens of
// thousands. Postfix waits up to 100 s and defers the mail then.

#pragma once

#include <string>

#include "examples/policy_server/PolicyRequest.h"

class PolicyDecision {
 public:
  // Records that take hours hold no more than these; mail goes on, unchecked. As many as Postfix
  // starts processes for one service.
  static constexpr int kMaxChecks = 100;

  // All work is done here. Throws nothing of the check's: that is a Warning in the log.
  explicit PolicyDecision(const PolicyRequest& request);

  const std::string& GetAction() const { return m_action; }

 private:
  static std::string Decide(const PolicyRequest& request);
  static std::string Check(const std::string& address, const std::string& domain);

  // The domain behind the sender's last "@", for a bounce (an empty sender) the name in HELO; a
  // dot behind it is cut off. Empty for a sender without "@".
  static std::string DomainOf(const PolicyRequest& request);

  std::string m_action;
};
