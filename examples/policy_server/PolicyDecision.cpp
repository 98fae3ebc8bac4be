#include "examples/policy_server/PolicyDecision.h"

#include <arpa/inet.h>

#include <atomic>
#include <exception>

#include "framework/dns/DNSSocket.h"
#include "framework/logging/Logger.h"
#include "tool/SPFCheck.h"

namespace {

constexpr char kNoObjection[] = "DUNNO";

bool IsDottedQuad(const std::string& text) {
  in_addr address{};
  return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

// A place among the checks under way, if there is one.
class Place {
 public:
  Place() : m_taken(s_checks.fetch_add(1) < PolicyDecision::kMaxChecks) {}
  ~Place() { --s_checks; }

  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

  bool IsTaken() const { return m_taken; }

 private:
  inline static std::atomic<int> s_checks{0};

  bool m_taken;
};

}  // namespace

PolicyDecision::PolicyDecision(const PolicyRequest& request) : m_action(Decide(request)) {}

std::string PolicyDecision::Decide(const PolicyRequest& request) {
  if (request.Get("request") != "smtpd_access_policy") {
    fwk::Logger::Log(fwk::Warning, "PolicyDecision::Decide - unknown request \"%s\"",
                     request.Get("request").c_str());
    return kNoObjection;
  }
  const std::string address = request.Get("client_address");
  const std::string domain = DomainOf(request);
  if (request.Get("protocol_state") != "RCPT" || !IsDottedQuad(address) || domain.empty()) {
    return kNoObjection;
  }
  const Place place;
  if (!place.IsTaken()) {
    fwk::Logger::Log(fwk::Warning, "PolicyDecision::Decide - no check of %s for %s: too many",
                     address.c_str(), domain.c_str());
    return kNoObjection;
  }
  try {
    return Check(address, domain);
  } catch (const std::exception& e) {
    fwk::Logger::Log(fwk::Warning, "PolicyDecision::Decide - check of %s for %s: %s",
                     address.c_str(), domain.c_str(), e.what());
    return kNoObjection;
  }
}

std::string PolicyDecision::Check(const std::string& address, const std::string& domain) {
  const std::string record = DNSSocket(domain).GetSPFRecord();
  if (record.empty()) {
    return kNoObjection;
  }
  // Without a sender the domain evaluated is the one given, that of the record.
  const SPFCheck check(address, "", domain, 0, record);
  return check.getResult() ? kNoObjection
                           : "550 5.7.23 SPF: " + address + " may not send mail for " + domain;
}

std::string PolicyDecision::DomainOf(const PolicyRequest& request) {
  const std::string sender = request.Get("sender");
  const std::size_t at = sender.rfind('@');
  std::string domain;
  if (sender.empty()) {
    domain = request.Get("helo_name");
  } else if (at != std::string::npos) {
    domain = sender.substr(at + 1);
  }
  if (domain.ends_with('.')) {
    domain.pop_back();
  }
  return domain;
}
