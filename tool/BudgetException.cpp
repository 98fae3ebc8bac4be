#include "tool/BudgetException.h"

namespace {

const char* TextOf(BudgetException::Reason reason) {
  switch (reason) {
    case BudgetException::Reason::kLookUps:
      return "more look-ups than allowed";
    case BudgetException::Reason::kTime:
      return "time limit reached";
    case BudgetException::Reason::kHangUp:
      break;
  }
  return "nobody waits for the verdict";
}

}  // namespace

BudgetException::BudgetException(Reason reason) : StdException(TextOf(reason)), m_reason(reason) {}

BudgetException::~BudgetException() = default;
