#include "tool/VerdictTally.h"

#include "tool/Printable.h"

namespace {

using Kind = SPFTerm::Kind;
using Outcome = LookUp::Outcome;

constexpr std::size_t kLongestTerm = 80;     // characters of a term in a reason
constexpr std::size_t kLongestDomain = 120;  // and of a domain

std::string Domain(const std::string& domain) {
  return ToPrintable(domain, kLongestDomain);
}

std::string CannotBeRead(const std::string& domain) {
  return "the record of " + Domain(domain) + " cannot be read as it is published";
}

// Returns what a look-up lacks; empty if it was answered in full.
std::string DescribeMissing(const LookUp& lookUp) {
  const std::string question =
      (lookUp.type == LookUp::Type::kA ? "A " : "TXT ") + Domain(lookUp.domain);
  switch (lookUp.outcome) {
    case Outcome::kNoAnswer:
      return "no answer for " + question;
    case Outcome::kErrorCode:
      return "error code " + std::to_string(lookUp.errorCode) + " for " + question;
    case Outcome::kTruncated:
      return "truncated answer for " + question;
    default:
      return "";
  }
}

// Returns why the result of a look-up cannot be relied on; empty if it can.
std::string DescribeProblem(const LookUp& lookUp) {
  switch (lookUp.outcome) {
    case Outcome::kAnswered:
      return "";
    case Outcome::kAlias:
      return Domain(lookUp.domain) + " is an alias, which is not followed";
    case Outcome::kMisread:
      return lookUp.type == LookUp::Type::kTXT
                 ? CannotBeRead(lookUp.domain)
                 : "the addresses of " + Domain(lookUp.domain) + " cannot be read";
    default:
      return DescribeMissing(lookUp);
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

std::string VerdictTally::ExplainFailure() const {
  return m_levels.back().term->GetKind() == Kind::kMalformed
             ? "malformed record: " + DescribeTerm()
             : DescribeTerm() + " cannot be evaluated";
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

void VerdictTally::OnLookUp(const LookUp& lookUp) {
  SetOnce(m_missing, DescribeMissing(lookUp));
  if (lookUp.type == LookUp::Type::kTXT) {
    TakeRecordLookUp(lookUp);
  } else {
    TakeAddressLookUp(lookUp);
  }
  AddDoubt(DescribeProblem(lookUp));
  if (m_next != nullptr) {
    m_next->OnLookUp(lookUp);
  }
}

void VerdictTally::TakeRecordLookUp(const LookUp& lookUp) {
  Level& level = m_levels.back();
  level.isGiven = false;
  if (!lookUp.policies.empty()) {
    level.published = SplitSPFRecord(lookUp.policies.back());
  }
  if (lookUp.policies.size() > 1) {
    Object("malformed record: " + Domain(lookUp.domain) + " has more than one");
  }
}

void VerdictTally::TakeAddressLookUp(const LookUp& lookUp) {
  Level& level = m_levels.back();
  level.addresses = lookUp.addresses;
  // The records in a truncated answer do belong to the domain.
  level.problem = lookUp.outcome == Outcome::kTruncated ? "" : DescribeProblem(lookUp);
}

void VerdictTally::OnRecord(const std::string& record) {
  Level& level = m_levels.back();
  if (m_levels.size() == 1) {
    m_hasRecord = !record.empty();
  }
  if (level.isGiven) {
    level.published = SplitSPFRecord(record);
    if (!IsSPFRecord(record)) {
      Object("malformed record: it does not begin with v=spf1");
    }
  }
  if (m_next != nullptr) {
    m_next->OnRecord(record);
  }
}

void VerdictTally::OnTerm(const std::string& term) {
  Level& level = m_levels.back();
  level.text = term;
  level.term.emplace(term);
  level.addresses.clear();
  level.problem.clear();
  if (!term.empty()) {
    CompareWithPublished();
    NoteModifier();
  }
  if (m_next != nullptr) {
    m_next->OnTerm(term);
  }
}

// Objects if another term is published at the place of this one.
void VerdictTally::CompareWithPublished() {
  Level& level = m_levels.back();
  const std::size_t place = level.reached++;
  if (place >= level.published.size() || level.published[place] != level.text) {
    Object(level.isGiven ? "malformed record: " + DescribeTerm() : CannotBeRead(level.domain));
  }
}

// Objects if the term is a modifier that may come only once (RFC 7208, section 6) and came before.
void VerdictTally::NoteModifier() {
  Level& level = m_levels.back();
  const Kind kind = level.term->GetKind();
  if ((kind == Kind::kRedirect || kind == Kind::kExplanation) &&
      !level.modifiers.insert(kind).second) {
    Object("malformed record: " + DescribeTerm() + " is not the first of its kind");
  }
}

void VerdictTally::OnTermDone(bool matched) {
  if (matched) {
    TakeMatch();
  } else if (!m_levels.back().text.empty()) {
    PassOver();
  }
  if (m_next != nullptr) {
    m_next->OnTermDone(matched);
  }
}

void VerdictTally::TakeMatch() {
  const Level& level = m_levels.back();
  const bool isAll = level.term->GetKind() == Kind::kAll && level.term->GetQualifier() == '+';
  if (!isAll && !level.term->IsEvaluated()) {
    AddShadow(DescribeTerm() + " is not what it seems to the check");
  } else if (!isAll) {
    AddShadow(level.problem);
  }
  SetOnce(m_match, DescribeTerm());
  SetOnce(m_shadow, level.shadow);
}

// Notes what a term that did not match means for the verdict.
void VerdictTally::PassOver() {
  Level& level = m_levels.back();
  const SPFTerm& term = *level.term;
  if (term.GetKind() == Kind::kMalformed) {
    Object("malformed record: " + DescribeTerm());
    return;
  }
  if (level.isClosed || !term.CouldMatch(m_client, level.addresses)) {
    return;
  }
  const bool isAll = term.GetKind() == Kind::kAll;
  const std::string reason =
      DescribeTerm() +
      (term.IsEvaluated() ? " matches if its host bits are masked" : " is not evaluated");
  if (term.GetQualifier() == '+') {
    AddDoubt(reason);
    return;
  }
  AddShadow(reason);
  if (term.GetQualifier() != '-' && !isAll && !level.isIncluded) {
    AddDoubt(reason);
  }
  level.isClosed = isAll;
}

void VerdictTally::OnCheckDone(bool passed) {
  m_levels.pop_back();
  if (m_next != nullptr) {
    m_next->OnCheckDone(passed);
  }
}

// Notes a reason why any verdict from this term on may be wrong.
void VerdictTally::Object(const std::string& reason) {
  AddShadow(reason);
  AddDoubt(reason);
}

void VerdictTally::AddShadow(const std::string& reason) {
  SetOnce(m_levels.back().shadow, reason);
}

void VerdictTally::AddDoubt(const std::string& reason) {
  SetOnce(m_doubt, reason);
}
