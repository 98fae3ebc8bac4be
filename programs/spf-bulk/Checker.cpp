#include "programs/spf-bulk/Checker.h"

#include <exception>
#include <limits>
#include <optional>
#include <string>

#include "programs/spf-bulk/SenderLine.h"
#include "tool/SenderCheck.h"

Checker::~Checker() noexcept(false) {
  ThreadedObject::StopObjectThread();
}

std::uint32_t Checker::ObjectThreadMethod() {
  try {
    CheckAll();
  } catch (const std::exception& e) {  // memory ran out
    m_run.dispatcher.End(std::string("cannot go on checking: ") + e.what());
  }
  return 0;
}

void Checker::CheckAll() {
  std::optional<Dispatcher::Task> task;
  Outcome outcome;
  while (m_run.dispatcher.Exchange(m_number, task, outcome)) {
    m_run.hangUp.WaitUntil(task->begin);
    if (m_run.pace != nullptr) {
      m_run.hangUp.WaitUntil(m_run.pace->TakeTurn());
    }
    outcome = Check(task->line);
  }
}

Outcome Checker::Check(std::string_view text) const {
  const SenderLine line(text);
  const SenderCheck check(
      line.GetAddress(), SenderCheck::AsWritten{line.GetDomain()},
      {std::numeric_limits<std::uint32_t>::max(),
       std::chrono::steady_clock::now() + m_run.timeLimit, m_run.hangUp.GetDescriptor()});
  Outcome outcome;
  outcome.lacksAnswer = !check.GetMissing().empty() && !check.HasHitLimit();
  outcome.note = check.GetMissing();
  switch (check.GetToolVerdict()) {
    case SenderCheck::ToolVerdict::kPassed:
      outcome.verdict = Verdict::kPassed;
      break;
    case SenderCheck::ToolVerdict::kFailed:
      outcome.verdict = Verdict::kFailed;
      break;
    case SenderCheck::ToolVerdict::kNone:
      outcome.note = check.GetReason() + (outcome.note.empty() ? "" : "; " + outcome.note);
      break;
  }
  return outcome;
}
