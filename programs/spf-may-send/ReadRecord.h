// ReadRecord is a record that a check has read, or tried to, with all that the check found out
// below it: a tree.
//
// A value type; nothing blocks.

#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tool/LookUp.h"

struct ReadRecord {
  struct Term {
    enum class State { kNotReached, kBegun, kMatched, kPassedOver };

    std::string text;
    State state = State::kNotReached;
    std::optional<LookUp> lookUp;        // of the term's addresses
    std::unique_ptr<ReadRecord> record;  // of the domain that is included or redirected to
  };

  std::string domain;
  std::chrono::milliseconds time{0};  // with all below it
  bool isTooDeep = false;             // and so was not read
  std::optional<LookUp> lookUp;       // of the record, unless it was given
  std::optional<std::string> text;    // empty where there is none; not there when it was not read
  std::vector<Term> terms;

  // Returns whether the record is known, or that there is none.
  bool IsRead() const;

  // The terms that RFC 7208, section 4.6.4, lets other receivers count while they evaluate the
  // record for a client that none matches.
  struct Count {
    int terms = 0;
    bool isComplete = true;  // false: more may be in records that were not read
  };
  Count CountLookUps() const;
};
