// Progress shows how far a run is, by a line on standard error that replaces the one before.
//
// One thread at a time. Drawing blocks as the terminal does.

#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "programs/spf-bulk/InputFile.h"
#include "programs/spf-bulk/Totals.h"

class Progress {
 public:
  using Clock = std::chrono::steady_clock;

  // Counts the lines of `input` meanwhile, including those of an earlier run, if it is a regular
  // file. Does not change its position.
  Progress(const InputFile& input, Clock::time_point now);

  // Draws the line, at most every tenth of a second.
  void Draw(const Totals& totals, Clock::time_point now);

  void Erase();

  // Returns the text of the line. `all`: the number of lines; 0 if it is not known.
  static std::string Describe(const Totals& totals, std::uint64_t all, double rate);

 private:
  struct Sample {
    Clock::time_point time;
    std::uint64_t lines = 0;
  };

  void CountLines();
  double MeasureRate(std::uint64_t lines, Clock::time_point now);

  int m_input;
  std::int64_t m_position = -1;  // where counting continues; -1: it is done, or impossible
  std::vector<char> m_buffer;
  std::uint64_t m_counted = 0;
  bool m_isLineBegun = false;    // the counted part ends in a line
  std::deque<Sample> m_samples;  // of the last seconds
  Clock::time_point m_drawn;
  bool m_isDrawn = false;
};
