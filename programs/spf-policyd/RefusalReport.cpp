#include "programs/spf-policyd/RefusalReport.h"

#include <algorithm>
#include <chrono>
#include <string_view>
#include <vector>

#include "framework/core/Exceptions.h"
#include "tool/BudgetedLookUp.h"
#include "tool/CheckBudget.h"
#include "tool/CheckObserver.h"
#include "tool/Printable.h"
#include "tool/SPFTerm.h"

namespace {

using Kind = SPFTerm::Kind;

constexpr std::uint32_t kLookUps = 20;
constexpr std::chrono::seconds kTimeLimit{20};
constexpr std::size_t kLongestTerm = 200;

// Keeps the outcome of the last look-up.
class LastLookUp : public CheckObserver {
 public:
  const LookUp& Get() const { return m_lookUp; }

  void OnCheck(const std::string& /*domain*/) override {}
  void OnTooDeep() override {}
  void OnRecord(const std::string& /*record*/) override {}
  void OnLookUp(const LookUp& lookUp) override { m_lookUp = lookUp; }
  void OnTerm(const std::string& /*term*/) override {}
  void OnTermDone(bool /*matched*/) override {}
  void OnCheckDone(bool /*passed*/) override {}

 private:
  LookUp m_lookUp;
};

// Returns whether a term can prevent a verdict: SPFCheck does not evaluate it, and it could match a
// host with an IPv4 address.
bool IsNotEvaluated(const SPFTerm& term) {
  switch (term.GetKind()) {
    case Kind::kVersion:
    case Kind::kExplanation:
    case Kind::kModifier:
    case Kind::kIp6:
      return false;
    case Kind::kAll:
      return term.GetQualifier() == '+';
    default:
      return !term.IsEvaluated();
  }
}

// Reads a record and the records that it includes.
class RecordWalk {
 public:
  RecordWalk() : m_budget(kLookUps, CheckBudget::Clock::now() + kTimeLimit, m_lookUp) {}

  std::string Describe(const std::string& domain) {
    Visit(domain);
    while (m_read < m_domains.size()) {
      Read(std::string(m_domains[m_read++]));  // may add domains
    }
    return m_text;
  }

 private:
  void Visit(const std::string& domain) {
    if (std::find(m_domains.begin(), m_domains.end(), domain) == m_domains.end()) {
      m_domains.push_back(domain);
    }
  }

  void Read(const std::string& domain) {
    std::string record;
    try {
      record = BudgetedLookUp(domain, m_budget).FindRecord();
    } catch (const StdException& e) {
      Say(domain, e.GetMessage());
      return;
    }
    if (m_lookUp.Get().outcome != LookUp::Outcome::kAnswered) {
      Say(domain, "the record cannot be read");
    } else if (record.empty()) {
      Say(domain, "no record");
    } else {
      ReadTerms(domain, record);
    }
  }

  void ReadTerms(const std::string& domain, const std::string& record) {
    std::string passedOver = "not evaluated:";
    const std::size_t nothing = passedOver.size();
    for (const std::string& text : SplitSPFRecord(record)) {
      const SPFTerm term(text);
      if (IsNotEvaluated(term)) {
        passedOver.append(1, ' ').append(ToPrintable(text, kLongestTerm));
      } else if (term.GetKind() == Kind::kInclude || term.GetKind() == Kind::kRedirect) {
        Visit(text.substr(text.find_first_of(":=") + 1));
      }
    }
    Say(domain, passedOver.size() == nothing ? "all terms are evaluated" : passedOver);
  }

  void Say(const std::string& domain, const std::string& finding) {
    m_text += ToPrintable(domain, 253) + ": " + ToPrintable(finding, 2000) + "\n";
  }

  LastLookUp m_lookUp;
  CheckBudget m_budget;
  std::vector<std::string> m_domains;
  std::size_t m_read = 0;  // number of domains that were read
  std::string m_text;
};

}  // namespace

std::string DescribeRecord(const std::string& domain) {
  return RecordWalk().Describe(domain);
}
