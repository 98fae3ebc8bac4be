// Resumption finds out how far an earlier run has come, from what its output holds, and sees that
// it was a run over the same input.
//
// The lines of the output must be those of the input, with their verdicts. Up to the last one of
// them the errors file must have the entry of each malformed line and of each error, and may have
// those of other lines. What follows in either file, a last line that is cut included, is to be cut
// off. If no run can have written such a last line into the output, that is a difference, too.
//
// All work is done in the constructor, which changes neither file and blocks as they do.

#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

#include "programs/spf-bulk/LineSource.h"
#include "programs/spf-bulk/Outcome.h"
#include "programs/spf-bulk/Totals.h"
#include "programs/spf-bulk/WrittenLines.h"

class Resumption {
 public:
  // Reads `input` as far as the output has its lines. Throws a StdException that names the line
  // where they differ.
  Resumption(LineSource& input, const std::string& output, const std::string& errors);

  // Return how much of the files is to stay, in bytes, and what it is.
  off_t GetOutputSize() const { return m_output.GetAccepted(); }
  off_t GetErrorsSize() const { return m_errors.GetAccepted(); }
  const Totals& GetTotals() const { return m_totals; }

 private:
  std::string_view FindNextLine();
  void TakeMalformed(std::string_view fault, std::string_view line);
  void TakeLine(std::string_view line, std::string_view written);
  void TakeVerdict(Verdict verdict, std::string_view line);
  void ExpectLaterEntry();
  std::string DescribeWritten() const;
  [[noreturn]] void ThrowDifference(const std::string& what) const;

  LineSource& m_input;
  WrittenLines m_output;
  WrittenLines m_errors;
  Totals m_totals;
};
