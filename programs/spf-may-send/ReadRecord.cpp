#include "programs/spf-may-send/ReadRecord.h"

#include <algorithm>

#include "tool/SPFTerm.h"

using Kind = SPFTerm::Kind;

bool ReadRecord::IsRead() const {
  return text && (!lookUp || lookUp->outcome == LookUp::Outcome::kAnswered);
}

// An `all` disables the mechanisms after it and any redirect (RFC 7208, sections 5.1 and 6.1).
ReadRecord::Count ReadRecord::CountLookUps() const {
  const auto isAll = [](const Term& term) { return SPFTerm(term.text).GetKind() == Kind::kAll; };
  const auto all = std::ranges::find_if(terms, isAll);
  Count count{0, IsRead()};
  for (auto term = terms.begin(); term != terms.end(); ++term) {
    const SPFTerm parsed(term->text);
    const bool isRedirect = parsed.GetKind() == Kind::kRedirect;
    if (!parsed.CostsLookUp() || (isRedirect ? all != terms.end() : term > all)) {
      continue;
    }
    ++count.terms;
    if (isRedirect || parsed.GetKind() == Kind::kInclude) {
      const bool isKnown = parsed.IsEvaluated() && term->record != nullptr;
      const Count below = isKnown ? term->record->CountLookUps() : Count{0, false};
      count.terms += below.terms;
      count.isComplete = count.isComplete && below.isComplete;
    }
  }
  return count;
}
