#include "programs/spf-bulk/Resumption.h"

#include <algorithm>
#include <optional>

#include "framework/core/Exceptions.h"
#include "programs/spf-bulk/ErrorEntry.h"
#include "programs/spf-bulk/SenderLine.h"

namespace {

// Returns whether `text` may be the beginning of a line of the output.
bool MayBegin(std::string_view text) {
  return text.size() <= SenderLine::kLongest + kVerdictHeader.size() + 1 &&
         std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c <= '~'; });
}

}  // namespace

Resumption::Resumption(LineSource& input, const std::string& output, const std::string& errors)
    : m_input(input), m_output(output), m_errors(errors) {
  std::string_view written;
  while (m_output.Peek(written)) {
    TakeLine(FindNextLine(), written);
    m_output.Accept();
  }
  if (!MayBegin(written)) {
    ThrowDifference(DescribeWritten() + " is not one that follows");
  }
  ExpectLaterEntry();
}

// Returns the next line that is not malformed. Malformed ones before it must have entries.
std::string_view Resumption::FindNextLine() {
  std::string_view line;
  while (m_input.Next(line)) {
    line = SenderLine::WithoutCarriageReturn(line);
    const std::string_view fault = SenderLine(line).GetFault();
    if (fault.empty() || (m_input.GetLines() == 1 && line == SenderLine::kHeader)) {
      return line;
    }
    TakeMalformed(fault, line);
  }
  ThrowDifference(DescribeWritten() + " comes after");
}

void Resumption::TakeMalformed(std::string_view fault, std::string_view line) {
  std::string_view entry;
  if (!m_errors.Peek(entry) ||
      std::string(entry) + "\n" != MakeErrorEntry(m_input.GetLines(), fault, line)) {
    ThrowDifference(m_errors.GetName() + " has another entry, or none, for");
  }
  m_errors.Accept();
  ++m_totals.malformed;
}

// Compares a line of the input with that of the output.
void Resumption::TakeLine(std::string_view line, std::string_view written) {
  const std::size_t end = written.rfind(',');
  if (end == std::string_view::npos || written.substr(0, end) != line) {
    ThrowDifference(DescribeWritten() + " is not that of");
  }
  const std::string_view name = written.substr(end + 1);
  if (m_input.GetLines() == 1 && line == SenderLine::kHeader && name == kVerdictHeader) {
    return;
  }
  const std::optional<Verdict> verdict = FindVerdict(name);
  if (!verdict || !SenderLine(line).GetFault().empty()) {
    ThrowDifference(DescribeWritten() + " is not that of");
  }
  TakeVerdict(*verdict, line);
}

void Resumption::TakeVerdict(Verdict verdict, std::string_view line) {
  std::string_view entry;
  const bool hasEntry = m_errors.Peek(entry) && NumberOfErrorEntry(entry) == m_input.GetLines() &&
                        entry.ends_with(line);
  if (hasEntry) {
    m_errors.Accept();
  } else if (verdict == Verdict::kError) {
    ThrowDifference(m_errors.GetName() + " has another entry, or none, for");
  }
  m_totals.Add(verdict, hasEntry);
}

// Expects that the next entry, which is cut off, is that of a later line.
void Resumption::ExpectLaterEntry() {
  std::string_view entry;
  if (m_errors.Peek(entry) && NumberOfErrorEntry(entry) <= m_input.GetLines()) {
    ThrowDifference(m_errors.GetName() + " has another entry, or none, for");
  }
}

std::string Resumption::DescribeWritten() const {
  return "line " + std::to_string(m_output.GetNumber()) + " of " + m_output.GetName();
}

void Resumption::ThrowDifference(const std::string& what) const {
  throw StdException(what + " line " + std::to_string(m_input.GetLines()) +
                     " of the input; nothing was changed");
}
