#include "tool/SPFCheck.h"

#include <string_view>
#include <utility>

#include "framework/Utilities/StringUtilities.h"
#include "framework/dns/DNSSocket.h"
#include "framework/logging/Logger.h"
#include "tool/BudgetedLookUp.h"
#include "tool/CheckBudget.h"

namespace {

constexpr std::int32_t kMaxDepth = 10;

}  // namespace

// A kind of term: how it begins, and the handler that evaluates it. Without one it never matches.
struct SPFCheck::TermKind {
  std::string_view prefix;
  TermHandler handler;
};

SPFCheck::SPFCheck(const std::string& ip, const std::string& smtpFrom, const std::string& domain,
                   std::int32_t depth, std::string spfRecord)
    : SPFCheck(ip, smtpFrom, domain, depth, std::move(spfRecord), nullptr) {}

SPFCheck::SPFCheck(const std::string& ip, const std::string& smtpFrom, const std::string& domain,
                   std::int32_t depth, std::string spfRecord, CheckBudget& budget)
    : SPFCheck(ip, smtpFrom, domain, depth, std::move(spfRecord), &budget) {}

SPFCheck::SPFCheck(const std::string& ip, const std::string& smtpFrom, const std::string& domain,
                   std::int32_t depth, std::string spfRecord, CheckBudget* budget)
    : Socket(0, 20000),  // without a descriptor, so nothing waits for the time-out
      m_smtpFrom(smtpFrom),
      m_domain(domain),
      m_depth(depth),
      m_budget(budget) {
  if (depth > kMaxDepth) {
    fwk::Logger::Log(fwk::Warning, "SPFCheck::SPFCheck deep max reached");
    tell(&CheckObserver::OnCheck, m_domain);
    tell(&CheckObserver::OnTooDeep);
  } else {
    fwk::Logger::Log(fwk::Debug, "SPFCheck::SPFCheck ip(%s), smtpFrom(%s), domain(%s)", ip.c_str(),
                     smtpFrom.c_str(), domain.c_str());
    takeDomainOfSender();
    tell(&CheckObserver::OnCheck, m_domain);
    if (spfRecord.empty()) {
      spfRecord = findRecord();
    }
    fwk::Logger::Log(fwk::Debug, "SPFCheck::SPFCheck spf record = %s", spfRecord.c_str());
    tell(&CheckObserver::OnRecord, spfRecord);
    evaluate(ip, spfRecord);
  }
  tell(&CheckObserver::OnCheckDone, m_result);
}

SPFCheck::~SPFCheck() noexcept(false) = default;

bool SPFCheck::getResult() const {
  return m_result;
}

// Tells the observer, if there is one, of a step.
template <typename... Types, typename... Values>
void SPFCheck::tell(void (CheckObserver::*step)(Types...), const Values&... values) const {
  if (m_budget != nullptr) {
    (m_budget->GetObserver().*step)(values...);
  }
}

void SPFCheck::takeDomainOfSender() {
  const std::size_t at = m_smtpFrom.find('@');
  if (at != std::string::npos) {
    // The text begins with the "@" itself, which is trimmed off, too.
    m_domain = Trim(m_smtpFrom.substr(at), " @>\t\r\n").CopyCString();
  }
}

std::string SPFCheck::findRecord() const {
  return m_budget != nullptr ? BudgetedLookUp(m_domain, *m_budget).FindRecord()
                             : DNSSocket(m_domain).GetSPFRecord();
}

void SPFCheck::evaluate(const std::string& ip, std::string_view spfRecord) {
  while (!spfRecord.empty() && !m_result) {
    // GetToken() shortens `spfRecord` by what it returns.
    const std::string term = Trim(std::string(GetToken(' ', spfRecord)), " \n\r\t").CopyCString();
    tell(&CheckObserver::OnTerm, term);
    m_result = process(term, ip);
    tell(&CheckObserver::OnTermDone, m_result);
  }
}

bool SPFCheck::process(const std::string& term, const std::string& ip) {
  // The first row that fits decides.
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
  // "-all" and the like are not logged (SPFCheck.h).
  if (term.find("all") != 1) {
    fwk::Logger::Log(fwk::Debug, "SPFCheck::process: %s - not supported..", term.c_str());
  }
  return false;
}
