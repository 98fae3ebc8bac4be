#include "programs/spf-bulk/LineBlock.h"

#include <algorithm>

#include "programs/spf-bulk/ErrorEntry.h"
#include "programs/spf-bulk/SenderLine.h"

namespace {

constexpr std::size_t kFull = std::size_t{64} * 1024;  // bytes
constexpr std::size_t kLeastWeight = 16;
constexpr std::size_t kMostLines = kFull / kLeastWeight;
constexpr std::size_t kNoteWeight = 96;  // of a note without its text

}  // namespace

LineBlock::LineBlock(std::uint64_t number) : m_number(number) {
  m_text.reserve(kFull + SenderLine::kEnough);
  m_lines.reserve(kMostLines);
}

void LineBlock::Add(std::string_view line) {
  line = SenderLine::WithoutCarriageReturn(line);
  State state = State::kWaiting;
  if (m_number == 1 && m_lines.empty() && line == SenderLine::kHeader) {
    state = State::kHeader;
  } else if (!SenderLine(line).GetFault().empty()) {
    state = State::kMalformed;
  }
  m_lines.push_back({static_cast<std::uint32_t>(m_text.size()),
                     static_cast<std::uint16_t>(line.size()), state, Verdict::kError});
  m_text += line;
}

bool LineBlock::IsFull() const {
  return m_text.size() >= kFull || m_lines.size() >= kMostLines;
}

void LineBlock::Close() {
  if (m_text.size() < m_text.capacity() / 2) {
    m_text.shrink_to_fit();
    m_lines.shrink_to_fit();
  }
}

std::string_view LineBlock::GetLine(std::size_t index) const {
  const Line& line = m_lines[index];
  return std::string_view(m_text).substr(line.begin, line.length);
}

std::size_t LineBlock::GetWeight(std::size_t index) const {
  const auto note = m_notes.find(index);
  return std::max<std::size_t>(m_lines[index].length + std::size_t{1}, kLeastWeight) +
         (note == m_notes.end() ? 0 : kNoteWeight + note->second.size());
}

bool LineBlock::IsDone(std::size_t index) const {
  return m_lines[index].state != State::kWaiting && m_lines[index].state != State::kStarted;
}

void LineBlock::SetOutcome(std::size_t index, const Outcome& outcome) {
  m_lines[index].state = State::kChecked;
  m_lines[index].verdict = outcome.verdict;
  if (!outcome.note.empty()) {
    m_notes.emplace(index, outcome.note);
  }
}

void LineBlock::Print(std::size_t index, std::string& output, std::string& errors) const {
  const std::string_view line = GetLine(index);
  switch (m_lines[index].state) {
    case State::kHeader:
      output.append(line).append(",").append(kVerdictHeader).append("\n");
      break;
    case State::kMalformed:
      errors += MakeErrorEntry(m_number + index, SenderLine(line).GetFault(), line);
      break;
    case State::kChecked:
      output.append(line).append(",").append(NameOf(m_lines[index].verdict)).append("\n");
      if (const auto note = m_notes.find(index); note != m_notes.end()) {
        errors += MakeErrorEntry(m_number + index, note->second, line);
      }
      break;
    case State::kWaiting:
    case State::kStarted:
      break;
  }
}
