// Totals counts the lines of a run by their results.
//
// A value type.

#pragma once

#include <cstdint>
#include <string>

#include "programs/spf-bulk/Outcome.h"

struct Totals {
  std::uint64_t passed = 0;
  std::uint64_t failed = 0;
  std::uint64_t error = 0;
  std::uint64_t malformed = 0;
  std::uint64_t doubtful = 0;  // those of passed and failed for which a look-up lacked an answer

  // Counts a well-formed line.
  void Add(Verdict verdict, bool lacksAnswer);

  Totals& operator+=(const Totals& other);

  std::uint64_t GetLines() const { return passed + failed + error + malformed; }

  // Returns the last message of a run. `errors`: the name of the errors file.
  std::string Describe(const std::string& errors) const;
};
