// LineBlock holds consecutive lines of the input, and the state of each, which has only 8 bytes as
// there may be millions of short lines. Full blocks reserve the same memory, whatever their lines,
// so that a new one fits where an old one was.
//
// One thread at a time may change it. Other threads may read lines meanwhile, once it is closed.

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "programs/spf-bulk/Outcome.h"

class LineBlock {
 public:
  enum class State : std::uint8_t { kHeader, kMalformed, kWaiting, kStarted, kChecked };

  // `number`: of the first line, counted from 1.
  explicit LineBlock(std::uint64_t number);

  // Adds the next line, without its line feed, and decides whether it is well-formed.
  void Add(std::string_view line);

  // Returns whether no more lines should be added.
  bool IsFull() const;

  // Frees the memory for more lines if most of it is unused.
  void Close();

  std::size_t GetCount() const { return m_lines.size(); }
  State GetState(std::size_t index) const { return m_lines[index].state; }
  std::string_view GetLine(std::size_t index) const;

  // Returns the memory that a line counts for: its bytes, at least 16, and those of its note.
  std::size_t GetWeight(std::size_t index) const;

  // Returns whether the outcome of a line is known.
  bool IsDone(std::size_t index) const;

  void SetStarted(std::size_t index) { m_lines[index].state = State::kStarted; }
  void SetOutcome(std::size_t index, const Outcome& outcome);

  // Appends the text of a finished line for the files.
  void Print(std::size_t index, std::string& output, std::string& errors) const;

 private:
  struct Line {
    std::uint32_t begin;
    std::uint16_t length;
    State state;
    Verdict verdict;  // once it is checked
  };

  std::uint64_t m_number;
  std::string m_text;
  std::vector<Line> m_lines;
  std::map<std::size_t, std::string> m_notes;  // of lines that have one
};
