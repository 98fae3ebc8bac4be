// Checker is a thread that checks lines, one at a time, until there are no more.
//
// The owner makes it, starts it, and destroys it, which waits for the end of the thread.

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
  // What all checkers of a run have in common. All of it must outlive them.
  struct Run {
    Dispatcher& dispatcher;
    const HangUp& hangUp;                 // ends checks that are under way
    Pace* pace;                           // null: there is no limit of the rate
    std::chrono::milliseconds timeLimit;  // of one check
  };

  // `number`: of the thread, as the dispatcher wants it.
  Checker(const Run& run, unsigned number) : m_run(run), m_number(number) {}
  ~Checker() noexcept(false) override;

  std::uint32_t ObjectThreadMethod() override;

 private:
  void CheckAll();
  Outcome Check(std::string_view text) const;

  const Run& m_run;
  unsigned m_number;
};
