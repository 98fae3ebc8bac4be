// Explanation observes a check and keeps the tree of the records that it reads.
//
// One thread at a time; nothing blocks.

#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "programs/spf-may-send/ReadRecord.h"
#include "tool/CheckObserver.h"

class Explanation : public CheckObserver {
 public:
  // Closes the records that the check was still reading when it ended.
  void Finish();

  // Returns the record of the checked domain; null if the check did not begin.
  const ReadRecord* GetRecord() const { return m_record.get(); }

  void OnCheck(const std::string& domain) override;
  void OnTooDeep() override;
  void OnRecord(const std::string& record) override;
  void OnLookUp(const LookUp& lookUp) override;
  void OnTerm(const std::string& term) override;
  void OnTermDone(bool matched) override;
  void OnCheckDone(bool passed) override;

 private:
  using Clock = std::chrono::steady_clock;

  // A record that is being read.
  struct Level {
    ReadRecord* record = nullptr;
    Clock::time_point begin{};
    std::size_t reached = 0;  // number of terms
    bool isAtTerm = false;    // false: at a term of white space only
  };

  void Close();

  std::unique_ptr<ReadRecord> m_record;
  std::vector<Level> m_levels;  // the innermost is the last
};
