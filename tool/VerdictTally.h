// VerdictTally watches a check and gathers what its verdict is worth: which term matched, what
// stands in the way of believing that, and what stands in the way of believing that none did.
//
// Internal to SenderCheck. One thread at a time.

#pragma once

#include <netinet/in.h>

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tool/CheckObserver.h"
#include "tool/SPFTerm.h"

class VerdictTally : public CheckObserver {
 public:
  // `client`: the address that is checked. `next`, if it is not null, is told everything, too.
  VerdictTally(in_addr_t client, CheckObserver* next);

  // Return reasons in words; each is empty where there is none.
  const std::string& GetMatch() const { return m_match; }      // the term that matched
  const std::string& GetShadow() const { return m_shadow; }    // why that may not count
  const std::string& GetDoubt() const { return m_doubt; }      // why "none matched" may not count
  const std::string& GetMissing() const { return m_missing; }  // a look-up without a full answer

  // Returns whether the domain itself has a record.
  bool HasRecord() const { return m_hasRecord; }

  // Returns why the term that is being evaluated ended the check by an exception.
  std::string ExplainFailure() const;

  void OnCheck(const std::string& domain) override;
  void OnTooDeep() override;
  void OnRecord(const std::string& record) override;
  void OnLookUp(const LookUp& lookUp) override;
  void OnTerm(const std::string& term) override;
  void OnTermDone(bool matched) override;
  void OnCheckDone(bool passed) override;

 private:
  // A check that is under way.
  struct Level {
    std::string domain;
    bool isIncluded = false;             // by an include: only whether it passes matters
    bool isClosed = false;               // after an `all`: RFC 7208 ignores further terms
    bool isGiven = true;                 // the record was not looked up
    std::vector<std::string> published;  // the terms of the record as it is published or given
    std::size_t reached = 0;             // how many terms of the record were evaluated
    std::set<SPFTerm::Kind> modifiers;   // of those that may come once, which came
    std::string text;                    // of the term that is being evaluated
    std::optional<SPFTerm> term;         // the same
    std::vector<std::string> addresses;  // that its look-up gave
    std::string problem;                 // why these may not be the term's
    std::string shadow;                  // why a match of a later term may not count
  };

  void TakeRecordLookUp(const LookUp& lookUp);
  void TakeAddressLookUp(const LookUp& lookUp);
  void CompareWithPublished();
  void NoteModifier();
  void TakeMatch();
  void PassOver();
  std::string DescribeTerm() const;
  void Object(const std::string& reason);
  void AddShadow(const std::string& reason);
  void AddDoubt(const std::string& reason);

  in_addr_t m_client;
  CheckObserver* m_next;
  std::vector<Level> m_levels;
  std::string m_match;
  std::string m_shadow;
  std::string m_doubt;
  std::string m_missing;
  bool m_hasRecord = false;
};
