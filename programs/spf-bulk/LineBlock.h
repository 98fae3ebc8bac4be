// LineBlock holds some lines of the input that follow one another, and what is known of each. It
// keeps 8 bytes beside a line, as there may be millions of short lines in the window. All full
// blocks take the same memory, so that a new one fits where an old one was.
//
// One thread at a time may change it. Once it is closed its lines do not change, so that other
// threads may read them meanwhile.

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

  // Adds the next line, given without its line feed, and finds out whether it is well-formed.
  void Add(std::string_view line);

  // Returns whether no more lines should be added.
  bool IsFull() const;

  // Gives back memory that was kept for more lines, if most of it is not used.
  void Close();

  std::size_t GetCount() const { return m_lines.size(); }
  State GetState(std::size_t index) const { return m_lines[index].state; }
  std::string_view GetLine(std::size_t index) const;

  // Returns what a line takes of the window: its bytes, 16 at least, and those of its note.
  std::size_t GetWeight(std::size_t index) const;

  // Returns whether it is known what becomes of a line.
  bool IsDone(std::size_t index) const;

  void SetStarted(std::size_t index) { m_lines[index].state = State::kStarted; }
  void SetOutcome(std::size_t index, const Outcome& outcome);

  // Appends what the files hold of a line that is done.
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
