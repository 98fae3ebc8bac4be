// LineWindow holds the lines of the input between the first one whose outcome is not known and the
// last one that was read, in their order, and those before it that are not written yet.
//
// One thread at a time.

#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <string>

#include "programs/spf-bulk/LineBlock.h"
#include "programs/spf-bulk/Outcome.h"

class LineWindow {
 public:
  // Where a line is; valid until its outcome is set.
  struct Place {
    LineBlock* block = nullptr;
    std::size_t index = 0;
  };

  // Appends a block that is closed, with at least one line.
  void Add(std::unique_ptr<LineBlock> block);

  // Returns whether a line waits for its check.
  bool HasWaiting() const { return m_waitingWeight != 0; }

  // Returns the first line that waits, which does not any more. There must be one.
  Place StartNext();

  // Sets the outcome of a line that was started.
  void SetOutcome(const Place& place, const Outcome& outcome);

  // Takes lines that are done from the front and appends what the files hold of them to `output`
  // and `errors`. Returns whether it has stopped before a line that is not done; it stops after
  // some 64 KiB, too.
  bool Print(std::string& output, std::string& errors);

  // Return what all lines weigh, and those that wait (LineBlock::GetWeight).
  std::size_t GetWeight() const { return m_weight; }
  std::size_t GetWaitingWeight() const { return m_waitingWeight; }

  bool IsEmpty() const { return m_blocks.empty(); }

 private:
  void RemoveFront();

  std::deque<std::unique_ptr<LineBlock>> m_blocks;
  std::size_t m_printed = 0;    // lines of the first block
  std::size_t m_nextBlock = 0;  // the position from which on lines may wait
  std::size_t m_nextIndex = 0;
  std::size_t m_weight = 0;
  std::size_t m_waitingWeight = 0;
};
