// Evaluates the terms of an SPF record (RFC 7208, sections 5 and 6, but see SPFCheck.h).

#include <string>
#include <vector>

#include "framework/dns/DNSSocket.h"
#include "framework/logging/Logger.h"
#include "tool/BudgetedLookUp.h"
#include "tool/SPFCheck.h"

namespace {

// The lengths of what precedes the value of a term. A term with a "+" therefore keeps the separator
// in its value, and a shorter term throws std::out_of_range.
constexpr std::size_t kIp4Length = 4;       // "ip4:"
constexpr std::size_t kIncludeLength = 8;   // "include:"
constexpr std::size_t kRedirectLength = 9;  // "redirect="

}  // namespace

std::string SPFCheck::getDomain(const std::string& term) {
  const std::size_t colon = term.find(':');
  if (colon == std::string::npos) {
    return "";
  }
  // If the "/" is before the ":", the count wraps, which takes all of the rest.
  const std::size_t slash = term.find('/');
  return term.substr(colon + 1, slash == std::string::npos ? slash : slash - colon - 1);
}

std::string SPFCheck::targetOrDomain(const std::string& term) const {
  std::string target = getDomain(term);
  return target.empty() ? m_domain : target;
}

std::string SPFCheck::getCIDR(const std::string& term) {
  const std::size_t slash = term.find('/');
  return slash == std::string::npos ? "" : term.substr(slash);
}

bool SPFCheck::checkIP(const std::string& cidr, const std::string& ip) {
  return IsInRange(cidr, ip.c_str());
}

bool SPFCheck::checkDomain(const std::string& domain, const std::string& cidr,
                           const std::string& ip) const {
  if (m_budget != nullptr) {
    return checkAddresses(BudgetedLookUp(domain, *m_budget).FindAddresses(), cidr, ip);
  }
  DNSSocket dns(domain);
  std::vector<std::string> addresses;
  dns.GetARecords(addresses);
  return checkAddresses(addresses, cidr, ip);
}

bool SPFCheck::checkAddresses(const std::vector<std::string>& addresses, const std::string& cidr,
                              const std::string& ip) {
  for (const std::string& address : addresses) {
    const std::string candidate = address + cidr;
    fwk::Logger::Log(fwk::Debug, "SPFCheck::checkDomain: ip::%s == ARecord::%s", ip.c_str(),
                     candidate.c_str());
    if (checkIP(candidate, ip)) {
      return true;
    }
  }
  return false;
}

bool SPFCheck::processA(const std::string& term, const std::string& ip) {
  const std::string domain = targetOrDomain(term);
  fwk::Logger::Log(fwk::Debug, "SPFCheck::processA - domain::%s", domain.c_str());
  return checkDomain(domain, getCIDR(term), ip);
}

bool SPFCheck::processMX(const std::string& term, const std::string& /*ip*/) {
  const DNSSocket dns(targetOrDomain(term));  // fills `dns_servers`; MX records are not asked for
  return false;
}

bool SPFCheck::processIP4(const std::string& term, const std::string& ip) {
  const std::string value = term.substr(kIp4Length);
  if (value.empty()) {
    return false;
  }
  fwk::Logger::Log(fwk::Debug, "SPFCheck::processIP4 - domain::%s", value.c_str());
  return checkIP(value, ip);
}

bool SPFCheck::processINCLUDE(const std::string& term, const std::string& ip) {
  return processNested(term.substr(kIncludeLength), ip, "processINCLUDE");
}

bool SPFCheck::processREDIRECT(const std::string& term, const std::string& ip) {
  return processNested(term.substr(kRedirectLength), ip, "processREDIRECT");
}

// Checks `target` one level deeper. `name` is that of the handler, for the log.
bool SPFCheck::processNested(const std::string& target, const std::string& ip, const char* name) {
  if (target.empty()) {
    return false;
  }
  if (target == m_domain) {
    fwk::Logger::Log(fwk::Error, "SPFCheck::%s - error domain::%s == m_domain::%s", name,
                     target.c_str(), m_domain.c_str());
    return false;
  }
  fwk::Logger::Log(fwk::Debug, "SPFCheck::%s - domain::%s", name, target.c_str());
  ++m_depth;
  return SPFCheck(ip, "", target, m_depth, "", m_budget).getResult();
}
