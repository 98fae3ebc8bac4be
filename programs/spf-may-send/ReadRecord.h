// ReadRecord is a record that a check has read, or tried to read, and the tree of records below it.
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
    std::unique_ptr<ReadRecord> record;  // of the included or redirect domain
  };

  std::string domain;
  std::chrono::milliseconds time{0};  // including the records below it
  bool isTooDeep = false;             // nested too deep, so not read
  std::optional<LookUp> lookUp;       // of the record, unless it was given
  std::optional<std::string> text;    // empty: no record; no value: not read
  std::vector<Term> terms;

  // Returns whether it is known what the record is, or that there is none.
  bool IsRead() const;

  // The number of terms that other receivers count (RFC 7208, section 4.6.4) when they evaluate the
  // record for a client that no term matches.
  struct Count {
    int terms = 0;
    bool isComplete = true;  // false: records that were not read may have more
  };
  Count CountLookUps() const;
};
