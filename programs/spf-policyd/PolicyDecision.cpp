#include "programs/spf-policyd/PolicyDecision.h"

#include <algorithm>
#include <functional>
#include <optional>

#include "programs/spf-policyd/ServiceLog.h"

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

constexpr char kRefusal[] = "550 5.7.23 ";
constexpr std::size_t kLongestInstance = 100;
constexpr std::size_t kLongestAddress = 45;  // an IPv6 address whose end is written as an IPv4 one

// Returns the domain to check; empty if there is none.
std::string DomainOf(const PolicyRequest& request) {
  const std::string sender = request.Get("sender");
  return SenderCheck::DomainOf(sender.empty() ? request.Get("helo_name") : sender);
}

// Returns a short name for a text of any length.
std::string Digest(const std::string& text) {
  return std::to_string(std::hash<std::string>()(text));
}

}  // namespace

PolicyDecision::PolicyDecision(const PolicyRequest& request, const Settings& settings,
                               Places& places, MessageMemory& memory, int connection)
    : m_request(request),
      m_settings(settings),
      m_places(places),
      m_memory(memory),
      m_connection(connection),
      m_start(steady_clock::now()) {
  Decide();
}

void PolicyDecision::Decide() {
  const std::string address = m_request.Get("client_address");
  const std::string domain = DomainOf(m_request);
  if (!domain.empty()) {
    m_domain = domain;
  }
  if (m_request.Get("request") != "smtpd_access_policy" ||
      m_request.Get("protocol_state") != "RCPT") {
    m_reason = "another protocol state";
    return;
  }
  if (m_settings.skip.Has(address)) {
    m_reason = "skipped network";
    return;
  }
  const bool isNamed = m_settings.refuse.Has(domain);
  if (DecideByMemory(isNamed)) {
    return;
  }
  m_isFirst = true;
  if (!SenderCheck::IsAddress(address)) {
    m_reason = "the client has no IPv4 address";
  } else if (domain.empty()) {
    m_reason = "malformed sender";
  } else {
    Check(address, domain, isNamed);
  }
  Act(address, domain, isNamed);
}

// Returns whether the answer for another recipient of the message decides this one.
bool PolicyDecision::DecideByMemory(bool isNamed) {
  const std::optional<MessageMemory::Answer> answer = m_memory.Find(MessageName());
  const bool isRefused = answer && answer->action.starts_with(kRefusal);
  if (!answer || (isRefused && !isNamed)) {
    return false;
  }
  // Postfix repeats a request if it did not get the answer.
  if (isRefused || answer->recipient == Digest(m_request.Get("recipient"))) {
    m_action = answer->action;
  }
  m_reason = "as answered before for the message";
  m_level = isRefused ? fwk::Warning : fwk::Info;
  return true;
}

// Returns a name for the message. Answers on trial are kept apart: they added no header.
std::string PolicyDecision::MessageName() const {
  const std::string instance = m_request.Get("instance");
  if (instance.empty() || instance.size() > kLongestInstance) {
    return "";
  }
  return instance + " " +
         Digest(m_request.Get("client_address") + "\n" + m_request.Get("sender") + "\n" +
                m_request.Get("helo_name")) +
         (m_settings.isTrial ? " trial" : "");
}

void PolicyDecision::Check(const std::string& address, const std::string& domain, bool isNamed) {
  const std::optional<Places::Place> place = m_places.Take(address, domain, isNamed);
  if (!place) {
    m_reason = "too busy to check";
    m_level = fwk::Warning;
    return;
  }
  m_isChecked = true;
  const auto end = m_start + m_settings.timeLimit;
  for (int tries = isNamed ? kMostTries : 1; tries > 1; --tries) {
    if (Try(address, domain, std::min(end, steady_clock::now() + m_settings.timeLimit / 16))) {
      return;
    }
  }
  Try(address, domain, end);
}

// Checks once. Returns whether another try would be useless.
bool PolicyDecision::Try(const std::string& address, const std::string& domain,
                         steady_clock::time_point deadline) {
  const SenderCheck check(address, domain, std::nullopt,
                          {m_settings.lookUps, deadline, m_connection}, nullptr);
  m_verdict = check.GetVerdict();
  m_reason = check.GetReason();
  m_lookUps += check.GetLookUps();
  const bool isFinal =
      check.HasHitLimit() ? steady_clock::now() < deadline : check.GetMissing().empty();
  return m_verdict != SenderCheck::Verdict::kNoVerdict || isFinal;
}

void PolicyDecision::Act(const std::string& address, const std::string& domain, bool isNamed) {
  if (isNamed && m_verdict == SenderCheck::Verdict::kFailed) {
    m_action = kRefusal + address + " may not send mail for " + domain + ": the SPF record of " +
               domain + " does not name this address";
    m_level = fwk::Warning;
    return;
  }
  m_action = "PREPEND X-SPF-Check: " + m_settings.host + "; " + SenderCheck::NameOf(m_verdict) +
             "; client=" + address.substr(0, kLongestAddress) + "; domain=" + m_domain + "; " +
             m_reason;
}

std::string PolicyDecision::GetAnswer() const {
  return m_settings.isTrial ? "DUNNO" : m_action;
}

void PolicyDecision::Conclude(bool isDelivered) {
  if (m_isFirst && isDelivered) {
    m_memory.Keep(MessageName(), {Digest(m_request.Get("recipient")), m_action});
  }
  const auto elapsed = duration_cast<milliseconds>(steady_clock::now() - m_start).count();
  const std::string action = m_action.substr(0, m_action.find(' '));
  ServiceLog::Write(
      m_level, (m_settings.isTrial ? "trial " : "") + (action == "550" ? "REFUSE" : action) + ", " +
                   (m_isChecked ? SenderCheck::NameOf(m_verdict) : "not checked") +
                   ", client=" + m_request.Get("client_address").substr(0, kLongestAddress) +
                   ", domain=" + m_domain + ", " + std::to_string(elapsed) + " ms, " +
                   std::to_string(m_lookUps) + " look-ups, " + m_reason +
                   (isDelivered ? "" : ", not delivered"));
}
