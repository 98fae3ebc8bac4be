// Checker is a thread that checks lines, one at a time, until there are no more.
//
// Its owner makes, starts and destroys it. The destructor waits for the end of the thread.

#pragma once

#include <chrono>
#include <cstdint>
#include <string_view>

#include "framework/core/ThreadedObject.h"
#include "programs/spf-bulk/Dispatcher.h"
#include "programs/spf-bulk/HangUp.h"
#include "programs/spf-bulk/Outcome.h"
#include "programs/spf-bulk/Pace.h"

class Checker : public ThreadedObject {
 public:
  // Is shared by all checkers of a run, and must outlive them, as must its members.
  struct Run {
    Dispatcher& dispatcher;
    const HangUp& hangUp;                 // ends the checks under way
    Pace* pace;                           // null: the rate is unlimited
    std::chrono::milliseconds timeLimit;  // of one check
  };

  // `number`: of the thread, for the dispatcher.
  Checker(const Run& run, unsigned number) : m_run(run), m_number(number) {}
  ~Checker() noexcept(false) override;

  std::uint32_t ObjectThreadMethod() override;

 private:
  void CheckAll();
  Outcome Check(std::string_view text) const;

  const Run& m_run;
  unsigned m_number;
};
