// CheckObserver is told of each step of a check while it runs. The nested check of an include or a
// redirect calls the same observer, between the beginning and the end of its term:
//
//   OnCheck                   for each check, nested or not
//     OnLookUp                unless the record was given
//     OnRecord                or OnTooDeep, and then no term
//     OnTerm                  for each term that is reached
//       OnLookUp, OnCheck     as the term needs them
//     OnTermDone
//   OnCheckDone
//
// Calls come from the thread of the check, and their exceptions leave the check. After an exception
// there are no more calls.

#pragma once

#include <cstdint>
#include <string>

#include "framework/core/Export.h"
#include "tool/LookUp.h"

class FWK_EXPORT CheckObserver {
 public:
  CheckObserver() = default;
  virtual ~CheckObserver() = default;

  CheckObserver(const CheckObserver&) = delete;
  CheckObserver& operator=(const CheckObserver&) = delete;

  // The check of `domain` begins.
  virtual void OnCheck(const std::string& domain) = 0;

  // The check is nested too deep and evaluates nothing.
  virtual void OnTooDeep() = 0;

  // `record` is evaluated; it is empty when there is none.
  virtual void OnRecord(const std::string& record) = 0;

  // A look-up was made.
  virtual void OnLookUp(const LookUp& lookUp) = 0;

  // The evaluation of a term begins; `term` is without blanks around it.
  virtual void OnTerm(const std::string& term) = 0;

  // The evaluation of the term is over; `matched` says whether the term matched.
  virtual void OnTermDone(bool matched) = 0;

  // The check is over; `passed` says whether a term matched.
  virtual void OnCheckDone(bool passed) = 0;
};
