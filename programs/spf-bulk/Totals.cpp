#include "programs/spf-bulk/Totals.h"

void Totals::Add(Verdict verdict, bool lacksAnswer) {
  switch (verdict) {
    case Verdict::kPassed:
      ++passed;
      break;
    case Verdict::kFailed:
      ++failed;
      break;
    case Verdict::kError:
      ++error;
      return;
  }
  doubtful += lacksAnswer ? 1 : 0;
}

Totals& Totals::operator+=(const Totals& other) {
  passed += other.passed;
  failed += other.failed;
  error += other.error;
  malformed += other.malformed;
  doubtful += other.doubtful;
  return *this;
}

std::string Totals::Describe(const std::string& errors) const {
  std::string text = std::to_string(GetLines()) + (GetLines() == 1 ? " line: " : " lines: ") +
                     std::to_string(passed) + " passed, " + std::to_string(failed) + " failed, " +
                     std::to_string(error) + " error, " + std::to_string(malformed) + " malformed";
  if (doubtful != 0) {
    text += "; verdicts that lack an answer: " + std::to_string(doubtful);
  }
  return error + malformed + doubtful == 0 ? text : text + "; see " + errors;
}
