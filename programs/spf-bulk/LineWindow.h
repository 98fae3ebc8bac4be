// LineWindow holds the lines of the input, in order, from the first one that is not printed to the
// last one that was read.
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

  // Appends a closed block with at least one line.
  void Add(std::unique_ptr<LineBlock> block);

  // Returns whether a line waits for its check.
  bool HasWaiting() const { return m_waitingWeight != 0; }

  // Starts the first line that waits, and returns it. There must be one.
  Place StartNext();

  // Sets the outcome of a line that was started.
  void SetOutcome(const Place& place, const Outcome& outcome);

  // Removes finished lines from the front and appends their texts to `output` and `errors`, up to
  // an unfinished line or about 64 KiB. Returns false if there may be more.
  bool Print(std::string& output, std::string& errors);

  // Return the weights of all lines and of those that wait (LineBlock::GetWeight).
  std::size_t GetWeight() const { return m_weight; }
  std::size_t GetWaitingWeight() const { return m_waitingWeight; }

  bool IsEmpty() const { return m_blocks.empty(); }

 private:
  void RemoveFront();

  std::deque<std::unique_ptr<LineBlock>> m_blocks;
  std::size_t m_printed = 0;    // lines of the first block
  std::size_t m_nextBlock = 0;  // no line before this position waits
  std::size_t m_nextIndex = 0;
  std::size_t m_weight = 0;
  std::size_t m_waitingWeight = 0;
};
