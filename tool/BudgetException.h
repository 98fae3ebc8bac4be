// BudgetException ends a check that has used up its budget, so that a check without a verdict is
// never taken for one that failed.
//
// May be copied, thrown and read on any thread.

#pragma once

#include "framework/core/Exceptions.h"
#include "framework/core/Export.h"

class FWK_EXPORT BudgetException : public StdException {
 public:
  // What was used up.
  enum class Reason {
    kLookUps,  // the next look-up would be one too many
    kTime,     // the deadline has passed
    kHangUp,   // nobody waits for the verdict any more
  };

  // `reason`: it decides the text, too.
  explicit BudgetException(Reason reason);
  ~BudgetException() override;

  // Returns what was used up.
  Reason GetReason() const noexcept { return m_reason; }

 private:
  Reason m_reason;
};
