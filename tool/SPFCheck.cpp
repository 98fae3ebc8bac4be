#include "tool/SPFCheck.h"

#include <string_view>

#include "framework/Utilities/StringUtilities.h"
#include "framework/dns/DNSSocket.h"
#include "framework/logging/Logger.h"

namespace {

constexpr std::int32_t kMaxDepth = 10;

}  // namespace

// A kind of term: how it begins, and what evaluates it. Without a handler it never matches.
struct SPFCheck::TermKind {
  std::string_view prefix;
  TermHandler handler;
};

SPFCheck::SPFCheck(const std::string& ip, const std::string& smtpFrom, const std::string& domain,
                   std::int32_t depth, std::string spfRecord)
    : Socket(0, 20000), m_smtpFrom(smtpFrom), m_domain(domain), m_depth(depth) {
  if (depth > kMaxDepth) {
    fwk::Logger::Log(fwk::Warning, "SPFCheck::SPFCheck deep max reached");
    return;
  }
  fwk::Logger::Log(fwk::Debug, "SPFCheck::SPFCheck ip(%s), smtpFrom(%s), domain(%s)", ip.c_str(),
                   smtpFrom.c_str(), domain.c_str());
  takeDomainOfSender();
  if (spfRecord.empty()) {
    spfRecord = DNSSocket(m_domain).GetSPFRecord();
  }
  fwk::Logger::Log(fwk::Debug, "SPFCheck::SPFCheck spf record = %s", spfRecord.c_str());
  evaluate(ip, spfRecord);
}

SPFCheck::~SPFCheck() noexcept(false) = default;

bool SPFCheck::getResult() const {
  return m_result;
}

void SPFCheck::takeDomainOfSender() {
  const std::size_t at = m_smtpFrom.find('@');
  if (at != std::string::npos) {
    m_domain = Trim(m_smtpFrom.substr(at), " @>\t\r\n").CopyCString();
  }
}

void SPFCheck::evaluate(const std::string& ip, std::string_view spfRecord) {
  while (!spfRecord.empty() && !m_result) {
    const std::string term = Trim(std::string(GetToken(' ', spfRecord)), " \n\r\t").CopyCString();
    m_result = process(term, ip);
  }
}

bool SPFCheck::process(const std::string& term, const std::string& ip) {
  // The first that fits decides.
  static constexpr TermKind kKinds[] = {
      {"v=spf", nullptr},
      {"a", &SPFCheck::processA},
      {"mx", &SPFCheck::processMX},
      {"ip4", &SPFCheck::processIP4},
      {"include", &SPFCheck::processINCLUDE},
      {"redirect", &SPFCheck::processREDIRECT},
      {"+all", nullptr},
      {"+a", &SPFCheck::processA},
      {"+mx", &SPFCheck::processMX},
      {"+ip4", &SPFCheck::processIP4},
      {"+include", &SPFCheck::processINCLUDE},
      {"+redirect", &SPFCheck::processREDIRECT},
  };
  for (const TermKind& kind : kKinds) {
    if (term.starts_with(kind.prefix)) {
      return kind.handler != nullptr && (this->*kind.handler)(term, ip);
    }
  }
  if (term.find("all") != 1) {
    fwk::Logger::Log(fwk::Debug, "SPFCheck::process: %s - not supported..", term.c_str());
  }
  return false;
}
