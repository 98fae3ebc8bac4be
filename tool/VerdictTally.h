// VerdictTally observes a check and gathers how far its verdict can be trusted: which term matched,
// why that may be wrong, and why it may be wrong that no term matched.
//
// Internal to SenderCheck. One thread at a time may use an object.

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
  // Observes the check of `client`. `next`, if not null, is told of each step too.
  VerdictTally(in_addr_t client, CheckObserver* next);

  // Return descriptions; each is empty if there is nothing to describe.
  const std::string& GetMatch() const { return m_match; }      // the term that matched
  const std::string& GetShadow() const { return m_shadow; }    // why the match may be wrong
  const std::string& GetDoubt() const { return m_doubt; }      // why "none matched" may be wrong
  const std::string& GetMissing() const { return m_missing; }  // a look-up without a full answer

  // Returns whether the domain itself has a record.
  bool HasRecord() const { return m_hasRecord; }

  // Returns why the current term ended the check by an exception.
  std::string ExplainFailure() const;

  void OnCheck(const std::string& domain) override;
  void OnTooDeep() override;
  void OnRecord(const std::string& record) override;
  void OnLookUp(const LookUp& lookUp) override;
  void OnTerm(const std::string& term) override;
  void OnTermDone(bool matched) override;
  void OnCheckDone(bool passed) override;

 private:
  // A check that is running.
  struct Level {
    std::string domain;
    bool isIncluded = false;             // by an include: only whether it passes matters
    bool isClosed = false;               // after an `all`: RFC 7208 ignores later terms
    bool isGiven = true;                 // the record was not looked up
    std::vector<std::string> published;  // the terms of the record as it is published or given
    std::size_t reached = 0;             // how many terms of the record were evaluated
    std::set<SPFTerm::Kind> modifiers;   // which modifiers that may come only once have come
    std::string text;                    // the current term
    std::optional<SPFTerm> term;         // the current term, parsed
    std::vector<std::string> addresses;  // the result of its look-up
    std::string problem;                 // why these addresses may be wrong
    std::string shadow;                  // why a match of a later term may be wrong
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
