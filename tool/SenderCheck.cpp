#include "tool/SenderCheck.h"

#include <arpa/inet.h>

#include <algorithm>
#include <exception>
#include <new>
#include <stdexcept>
#include <string_view>

#include "framework/core/Exceptions.h"
#include "tool/BudgetException.h"
#include "tool/CheckBudget.h"
#include "tool/DomainName.h"
#include "tool/Printable.h"
#include "tool/SPFCheck.h"
#include "tool/VerdictTally.h"

namespace {

constexpr std::size_t kLongestArgument = 80;  // characters of an argument in a reason
constexpr std::size_t kLongestError = 160;

bool IsHostNameCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '_' || c == '.';
}

bool IsHostName(std::string_view name) {
  return IsDomainName(name) && std::ranges::all_of(name, IsHostNameCharacter);
}

}  // namespace

SenderCheck::SenderCheck(const std::string& address, const std::string& sender,
                         const std::optional<std::string>& record, const Limits& limits,
                         CheckObserver* observer)
    : m_domain(DomainOf(sender)) {
  if (!IsAddress(address)) {
    SetNoVerdict("malformed address: " + ToPrintable(address, kLongestArgument));
  } else if (m_domain.empty()) {
    SetNoVerdict("malformed sender: " + ToPrintable(sender, kLongestArgument));
  } else if (record && record->empty()) {
    SetNoVerdict("malformed record: it is empty");
  } else {
    Evaluate(address, record.value_or(""), limits, observer);
  }
}

SenderCheck::SenderCheck(const std::string& address, const AsWritten& written, const Limits& limits)
    : m_domain(written.domain) {
  if (!IsAddress(address)) {
    SetNoVerdict("malformed address: " + ToPrintable(address, kLongestArgument));
  } else {
    Evaluate(address, "", limits, nullptr);
  }
}

bool SenderCheck::IsAddress(const std::string& text) {
  in_addr address{};
  return text.find('\0') == std::string::npos && inet_pton(AF_INET, text.c_str(), &address) == 1;
}

std::string SenderCheck::DomainOf(const std::string& sender) {
  std::string_view domain = sender;
  if (domain.starts_with('<')) {
    domain.remove_prefix(1);
  }
  if (domain.ends_with('>')) {
    domain.remove_suffix(1);
  }
  domain.remove_prefix(domain.rfind('@') + 1);  // npos + 1 is 0
  if (domain.ends_with('.')) {
    domain.remove_suffix(1);
  }
  return IsHostName(domain) ? std::string(domain) : "";
}

const char* SenderCheck::NameOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::kPassed:
      return "passed";
    case Verdict::kFailed:
      return "failed";
    case Verdict::kNone:
      return "none";
    case Verdict::kNoVerdict:
      break;
  }
  return "no verdict";
}

void SenderCheck::SetNoVerdict(const std::string& reason) {
  m_verdict = Verdict::kNoVerdict;
  m_reason = reason;
}

void SenderCheck::Evaluate(const std::string& address, const std::string& record,
                           const Limits& limits, CheckObserver* observer) {
  VerdictTally tally(inet_addr(address.c_str()), observer);
  CheckBudget budget(limits.lookUps, limits.deadline, tally);
  budget.EndWithHangUpOf(limits.hangUp);
  try {
    const SPFCheck check(address, "", m_domain, 0, record, budget);
    m_toolVerdict = check.getResult() ? ToolVerdict::kPassed : ToolVerdict::kFailed;
    Judge(tally);
  } catch (const BudgetException& e) {
    m_hasHitLimit = true;
    SetNoVerdict(e.GetMessage());
  } catch (const SocketException& e) {
    SetNoVerdict("no socket for a look-up: " + ToPrintable(e.GetMessage(), kLongestError));
  } catch (const std::logic_error&) {  // a term cannot be parsed
    SetNoVerdict(tally.ExplainFailure());
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& e) {
    SetNoVerdict(ToPrintable(e.what(), kLongestError));
  }
  m_missing = tally.GetMissing();
  m_lookUps = budget.GetLookUps();
}

void SenderCheck::Judge(const VerdictTally& tally) {
  const bool matched = m_toolVerdict == ToolVerdict::kPassed;
  const std::string& objection = matched ? tally.GetShadow() : tally.GetDoubt();
  if (!objection.empty()) {
    SetNoVerdict(objection);
  } else if (matched) {
    m_verdict = Verdict::kPassed;
    m_reason = tally.GetMatch() + " matches";
  } else if (!tally.HasRecord()) {
    m_verdict = Verdict::kNone;
    m_reason = m_domain + " has no record";
  } else {
    m_verdict = Verdict::kFailed;
    m_reason = "no term of " + m_domain + " matches";
  }
}
