// Progress draws a line on standard error that tells how far a run is, in place of the one before.
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

  // `input`: of which the lines are counted meanwhile if it is a regular file, also those that an
  // earlier run has done. It is not moved.
  Progress(const InputFile& input, Clock::time_point now);

  // Draws the line, unless that was done less than a tenth of a second ago.
  void Draw(const Totals& totals, Clock::time_point now);

  // Removes the line.
  void Erase();

  // Returns the text of the line. `all`: how many lines there are; 0: that is not known.
  static std::string Describe(const Totals& totals, std::uint64_t all, double rate);

 private:
  struct Sample {
    Clock::time_point time;
    std::uint64_t lines = 0;
  };

  void CountLines();
  double MeasureRate(std::uint64_t lines, Clock::time_point now);

  int m_input;
  std::int64_t m_position = -1;  // up to which lines are counted; -1: all, or none
  std::vector<char> m_buffer;
  std::uint64_t m_counted = 0;
  bool m_isLineBegun = false;    // the counted part ends within a line
  std::deque<Sample> m_samples;  // of the last seconds
  Clock::time_point m_drawn;
  bool m_isDrawn = false;
};
