#include "programs/spf-may-send/RecordTree.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "tool/Printable.h"
#include "tool/SPFTerm.h"

namespace {

using Kind = SPFTerm::Kind;
using Term = ReadRecord::Term;

constexpr std::size_t kLongestText = 5000;  // characters, more than a record from DNS has
constexpr std::size_t kOutcomeWidth = 15;   // characters of the column before the terms
constexpr std::size_t kIndentation = 2;
constexpr int kAllowedTerms = 10;  // RFC 7208, section 4.6.4

std::string Printable(const std::string& text) {
  return ToPrintable(text, kLongestText);
}

// Names an error code as RFC 1035, section 4.1.1, does.
std::string DescribeErrorCode(std::uint8_t code) {
  constexpr std::array kNames = {"",           "format error",    "server failure",
                                 "name error", "not implemented", "refused"};
  const std::string number = "error code " + std::to_string(code);
  return code < kNames.size() ? number + " (" + kNames[code] + ")" : number;
}

// Returns why a look-up failed; empty if it was answered in full.
std::string DescribeFailure(const LookUp& lookUp) {
  switch (lookUp.outcome) {
    case LookUp::Outcome::kAnswered:
      break;
    case LookUp::Outcome::kErrorCode:
      return DescribeErrorCode(lookUp.errorCode);
    case LookUp::Outcome::kTruncated:
      return "truncated answer";
    case LookUp::Outcome::kAlias:
      return "an alias, which is not followed";
    case LookUp::Outcome::kMisread:
      return "an answer that cannot be read as it is published";
    case LookUp::Outcome::kNoAnswer:
      return "no answer";
  }
  return "";
}

std::string DescribeAddresses(const LookUp& lookUp) {
  std::string list;
  for (const std::string& address : lookUp.addresses) {
    list += (list.empty() ? "" : ", ") + address;
  }
  const std::string failure = DescribeFailure(lookUp);
  if (!failure.empty() && !list.empty()) {
    list += "; ";
  }
  const std::string text = list + failure;
  return "A " + Printable(lookUp.domain) + ": " + (text.empty() ? "no address" : text);
}

// Returns the text that the check evaluated, after what is wrong with the record.
std::string DescribeText(const ReadRecord& record) {
  if (record.isTooDeep) {
    return "not read, nested too deep";
  }
  const std::string failure = record.lookUp ? DescribeFailure(*record.lookUp) : "";
  if (!record.text || record.text->empty()) {
    return !failure.empty() ? failure : record.lookUp ? "no record" : "not read";
  }
  const std::string text = Printable(*record.text);
  const std::size_t published = record.lookUp ? record.lookUp->policies.size() : 0;
  if (published > 1) {
    return std::to_string(published) + " records, the last one is " + text;
  }
  return !record.lookUp    ? "given as " + text
         : failure.empty() ? text
                           : failure + ", taken for " + text;
}

// Returns whether the term, or one below it, lacks an answer.
bool HasFailed(const Term& term) {
  const ReadRecord* const below = term.record.get();
  return (term.lookUp && term.lookUp->outcome != LookUp::Outcome::kAnswered) ||
         (below != nullptr && (!below->IsRead() || std::ranges::any_of(below->terms, HasFailed)));
}

// Returns the outcome of a term other than the version.
const char* DescribeOutcome(const Term& term, in_addr_t client) {
  const SPFTerm parsed(term.text);
  if (term.state == Term::State::kNotReached) {
    return "not reached";
  }
  if (parsed.GetKind() == Kind::kMalformed) {
    return "malformed";
  }
  if (term.state == Term::State::kBegun) {
    return "cut short";
  }
  if (term.state == Term::State::kMatched) {
    return "matches";
  }
  if (parsed.GetKind() == Kind::kAll && parsed.GetQualifier() != '+') {
    return "fails";
  }
  if (HasFailed(term)) {
    return "unknown";
  }
  const std::vector<std::string> none;
  return parsed.CouldMatch(client, term.lookUp ? term.lookUp->addresses : none) ? "not evaluated"
                                                                                : "no match";
}

// Returns whether a term includes, or redirects to, the domain of its own record, which is not read
// again.
bool IsOfOwnDomain(const Term& term) {
  const SPFTerm parsed(term.text);
  return term.state == Term::State::kPassedOver && parsed.IsEvaluated() &&
         (parsed.GetKind() == Kind::kInclude || parsed.GetKind() == Kind::kRedirect);
}

class Tree {
 public:
  explicit Tree(in_addr_t client) : m_client(client) {}

  void Add(const ReadRecord& record, std::size_t level) {
    AddLine(level, Printable(record.domain) + " (" + std::to_string(record.time.count()) +
                       " ms): " + DescribeText(record));
    for (const Term& term : record.terms) {
      if (SPFTerm(term.text).GetKind() != Kind::kVersion) {
        Add(term, level + 1);
      }
    }
  }

  void AddLine(std::size_t level, const std::string& text) {
    m_text.append(level * kIndentation, ' ').append(text).append("\n");
  }

  const std::string& GetText() const { return m_text; }

 private:
  void Add(const Term& term, std::size_t level) {
    std::string outcome = DescribeOutcome(term, m_client);
    outcome.resize(kOutcomeWidth, ' ');
    AddLine(level, outcome + Printable(term.text));
    if (term.lookUp) {
      AddLine(level + 1, DescribeAddresses(*term.lookUp));
    }
    if (term.record != nullptr) {
      Add(*term.record, level + 1);
    } else if (IsOfOwnDomain(term)) {
      AddLine(level + 1, "not read, as it is the domain of this record");
    }
  }

  in_addr_t m_client;
  std::string m_text;
};

std::string DescribeCount(const ReadRecord& record) {
  const ReadRecord::Count count = record.CountLookUps();
  const std::string number = (count.isComplete ? "" : "at least ") + std::to_string(count.terms);
  const std::string allowed = std::to_string(kAllowedTerms);
  return (count.terms > kAllowedTerms
              ? number + " terms with look-ups, of which other receivers allow " + allowed
              : number + " of the " + allowed + " terms with look-ups that other receivers allow") +
         " (RFC 7208, section 4.6.4)";
}

}  // namespace

std::string DescribeTree(const ReadRecord& record, in_addr_t client) {
  Tree tree(client);
  tree.Add(record, 1);
  if (record.text && !record.text->empty()) {
    tree.AddLine(1, DescribeCount(record));
  }
  return tree.GetText();
}
