#include "tool/VerdictTally.h"

#include <algorithm>

#include "tool/Printable.h"

namespace {

using Kind = SPFTerm::Kind;

constexpr std::size_t kLongestTerm = 80;     // characters of a term in a reason
constexpr std::size_t kLongestDomain = 120;  // and of a domain

std::string Domain(const std::string& domain) {
  return ToPrintable(domain, kLongestDomain);
}

// Returns what is missing of a look-up; empty where it was answered in full.
std::string DescribeMissing(const LookUp& lookUp) {
  const std::string question =
      (lookUp.type == LookUp::Type::kA ? "A " : "TXT ") + Domain(lookUp.domain);
  switch (lookUp.outcome) {
    case LookUp::Outcome::kNoAnswer:
      return "no answer for " + question;
    case LookUp::Outcome::kErrorCode:
      return "error code " + std::to_string(lookUp.errorCode) + " for " + question;
    case LookUp::Outcome::kTruncated:
      return "truncated answer for " + question;
    default:
      return "";
  }
}

void SetOnce(std::string& text, const std::string& value) {
  if (text.empty()) {
    text = value;
  }
}

}  // namespace

VerdictTally::VerdictTally(in_addr_t client, CheckObserver* next)
    : m_client(client), m_next(next) {}

std::string VerdictTally::DescribeTerm() const {
  const Level& level = m_levels.back();
  return ToPrintable(level.text, kLongestTerm) + " of " + Domain(level.domain);
}

void VerdictTally::OnCheck(const std::string& domain) {
  Level level;
  level.domain = domain;
  if (!m_levels.empty()) {
    const Level& outer = m_levels.back();
    level.isIncluded = outer.isIncluded || outer.term->GetKind() == Kind::kInclude;
    level.isClosed = outer.isClosed;
  }
  m_levels.push_back(level);
  if (m_next != nullptr) {
    m_next->OnCheck(domain);
  }
}

void VerdictTally::OnTooDeep() {
  AddDoubt(Domain(m_levels.back().domain) + " is nested too deep to be read");
  if (m_next != nullptr) {
    m_next->OnTooDeep();
  }
}

void VerdictTally::OnRecord(const std::string& record) {
  Level& level = m_levels.back();
  if (m_levels.size() == 1) {
    m_hasRecord = !record.empty();
  }
  if (level.isGiven && !IsSPFRecord(record)) {
    AddDoubt("malformed record: it does not begin with v=spf1");
    AddShadow(m_doubt);
  }
  if (m_next != nullptr) {
    m_next->OnRecord(record);
  }
}

void VerdictTally::OnLookUp(const LookUp& lookUp) {
  Level& level = m_levels.back();
  const std::string missing = DescribeMissing(lookUp);
  SetOnce(m_missing, missing);
  if (!missing.empty()) {
    AddDoubt(missing);
  } else if (lookUp.outcome == LookUp::Outcome::kAlias) {
    AddDoubt(Domain(lookUp.domain) + " is an alias, which is not followed");
  } else if (lookUp.type == LookUp::Type::kTXT) {
    TakeRecordLookUp(lookUp);
  } else if (lookUp.outcome == LookUp::Outcome::kMisread) {
    AddDoubt("the addresses of " + Domain(lookUp.domain) + " cannot be read");
  }
  if (lookUp.type == LookUp::Type::kTXT) {
    level.isGiven = false;
  } else {
    level.addresses = lookUp.addresses;
  }
  if (m_next != nullptr) {
    m_next->OnLookUp(lookUp);
  }
}

void VerdictTally::TakeRecordLookUp(const LookUp& lookUp) {
  std::string problem;
  if (lookUp.policies.size() > 1) {
    problem = "malformed record: " + Domain(lookUp.domain) + " has more than one";
  } else if (lookUp.outcome == LookUp::Outcome::kMisread) {
    problem = "the record of " + Domain(lookUp.domain) + " cannot be read as it is published";
  } else {
    return;
  }
  AddDoubt(problem);
  AddShadow(problem);
}

void VerdictTally::OnTerm(const std::string& term) {
  Level& level = m_levels.back();
  level.text = term;
  level.term.emplace(term);
  level.addresses.clear();
  if (m_next != nullptr) {
    m_next->OnTerm(term);
  }
}

void VerdictTally::OnTermDone(bool matched) {
  const Level& level = m_levels.back();
  if (!matched) {
    PassOver();
  } else {
    const bool isAll = level.term->GetKind() == Kind::kAll && level.term->GetQualifier() == '+';
    if (!level.term->IsEvaluated() && !isAll) {
      AddShadow(DescribeTerm() + " is not what it seems to the check");
    }
    SetOnce(m_match, DescribeTerm());
    SetOnce(m_shadow, level.shadow);
  }
  if (m_next != nullptr) {
    m_next->OnTermDone(matched);
  }
}

// Judges a term that did not match.
void VerdictTally::PassOver() {
  Level& level = m_levels.back();
  if (level.text.empty()) {
    return;
  }
  if (level.term->GetKind() == Kind::kMalformed) {
    AddDoubt("malformed record: " + DescribeTerm());
    AddShadow("malformed record: " + DescribeTerm());
    return;
  }
  if (level.isClosed || !CouldMatch()) {
    return;
  }
  const bool isAll = level.term->GetKind() == Kind::kAll;
  const std::string reason = DescribeTerm() + " is not evaluated";
  if (level.term->GetQualifier() == '+') {
    AddDoubt(reason);
    return;
  }
  AddShadow(reason);
  if (level.term->GetQualifier() != '-' && !isAll && !level.isIncluded) {
    AddDoubt(reason);
  }
  level.isClosed = isAll;
}

// Returns whether the term would match, or nobody can say, if it were read as RFC 7208 says.
bool VerdictTally::CouldMatch() const {
  const Level& level = m_levels.back();
  const SPFTerm& term = *level.term;
  switch (term.GetKind()) {
    case Kind::kIp4:
      return term.Covers(m_client);
    case Kind::kA:
      return !term.IsEvaluated() ||
             std::ranges::any_of(level.addresses, [&](const std::string& address) {
               return term.Covers(address, m_client);
             });
    case Kind::kInclude:
    case Kind::kRedirect:
      return !term.IsEvaluated();
    case Kind::kVersion:
    case Kind::kModifier:
    case Kind::kIp6:
      return false;
    default:
      return true;
  }
}

void VerdictTally::OnCheckDone(bool passed) {
  m_levels.pop_back();
  if (m_next != nullptr) {
    m_next->OnCheckDone(passed);
  }
}

void VerdictTally::AddShadow(const std::string& reason) {
  SetOnce(m_levels.back().shadow, reason);
}

void VerdictTally::AddDoubt(const std::string& reason) {
  SetOnce(m_doubt, reason);
}
