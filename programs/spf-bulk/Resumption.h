// Resumption finds out from its files how far an earlier run came, and that it had the same input.
//
// The lines of the output must be those of the input, with their verdicts. Up to the last of them
// the errors file must have an entry for each malformed line and each error, and may have entries
// for other lines. Anything that follows in either file, including an incomplete last line, is to
// be cut off; but it is a difference if no run can have written that last line of the output.
//
// The constructor does all the work. It changes neither file, and blocks as they do.

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
  // Reads `input` as far as the output has its lines. Throws a StdException that names the
  // line of a difference.
  Resumption(LineSource& input, const std::string& output, const std::string& errors);

  // Return how many bytes of the files stay, and the totals of their lines.
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
