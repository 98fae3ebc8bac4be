#include "programs/spf-bulk/Outcome.h"

std::string_view NameOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::kPassed:
      return "passed";
    case Verdict::kFailed:
      return "failed";
    case Verdict::kError:
      break;
  }
  return "error";
}

std::optional<Verdict> FindVerdict(std::string_view name) {
  for (const Verdict verdict : {Verdict::kPassed, Verdict::kFailed, Verdict::kError}) {
    if (name == NameOf(verdict)) {
      return verdict;
    }
  }
  return std::nullopt;
}
