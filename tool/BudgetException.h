// BudgetException ends a check that has used up its budget, so that a check without a verdict is
// never mistaken for one that failed.
//
// It may be copied, thrown and read on any thread.

#pragma once

#include "framework/core/Exceptions.h"
#include "framework/core/Export.h"

class FWK_EXPORT BudgetException : public StdException {
 public:
  // The part of the budget that was used up.
  enum class Reason {
    kLookUps,  // the next look-up would be one too many
    kTime,     // the deadline has passed
    kHangUp,   // nobody waits for the verdict any longer
  };

  // Makes an exception with the text for `reason`.
  explicit BudgetException(Reason reason);
  ~BudgetException() override;

  // Returns which part of the budget was used up.
  Reason GetReason() const noexcept { return m_reason; }

 private:
  Reason m_reason;
};
