#include "programs/spf-bulk/Dispatcher.h"

#include <algorithm>
#include <utility>

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

constexpr std::size_t kLargestWindow = std::size_t{32} * 1024 * 1024;  // bytes of lines
constexpr std::size_t kUsualWindow = std::size_t{1024} * 1024;
constexpr std::size_t kReadAhead = std::size_t{128} * 1024;
constexpr seconds kGathering{1};  // for which repetitions wait for others
constexpr seconds kFresh{1};      // for which a check disturbs the quiet that they need
constexpr milliseconds kQuiet{200};
constexpr microseconds kSpace{250};  // between the beginnings of repetitions
constexpr unsigned kQuietShare = 4;  // a fraction of the checks is under way then

}  // namespace

Dispatcher::Dispatcher(unsigned jobs) : m_load(jobs), m_begins(jobs) {}

bool Dispatcher::Add(std::unique_ptr<LineBlock> block) {
  Mutex guard(m_lock, true);
  while (!m_hasEnded && !HasRoom()) {
    m_isFull = true;
    guard.Unlock();
    m_room.acquire();
    guard.Lock();
  }
  for (std::size_t i = 0; i < block->GetCount(); ++i) {
    m_totals.malformed += block->GetState(i) == LineBlock::State::kMalformed ? 1 : 0;
  }
  m_window.Add(std::move(block));
  WakeChecker(Clock::now());
  return !m_hasEnded;
}

void Dispatcher::Close(const std::string& fault) {
  const Mutex guard(m_lock, true);
  m_isClosed = true;
  m_fault = m_fault.empty() ? fault : m_fault;
  if (IsFinished()) {
    WakeAll();
  }
}

bool Dispatcher::Exchange(unsigned thread, std::optional<Task>& task, const Outcome& outcome) {
  Mutex guard(m_lock, true);
  if (task) {
    Finish(thread, *task, outcome);
  }
  while (!IsFinished()) {
    if (Start(thread, task)) {
      return true;
    }
    ++m_idle;
    guard.Unlock();
    m_task.acquire();
    guard.Lock();
  }
  WakeAll();
  return false;
}

void Dispatcher::Finish(unsigned thread, const Task& task, const Outcome& outcome) {
  const Clock::time_point now = Clock::now();
  --m_underWay;
  m_begins[thread] = {};
  m_repeating -= task.firstBegin ? 1 : 0;
  if (m_hasEnded) {
    return;
  }
  m_load.OnEnd(now);
  if (outcome.lacksAnswer && !task.firstBegin) {
    m_gathering.push_back({task.place, task.begin, now});
    return;
  }
  if (task.firstBegin && !outcome.lacksAnswer && outcome.verdict != Verdict::kError) {
    m_load.OnLoss(*task.firstBegin, now);
  }
  m_totals.Add(outcome.verdict, outcome.lacksAnswer);
  m_window.SetOutcome(task.place, outcome);
}

bool Dispatcher::Wait(Clock::duration time) {
  static_cast<void>(m_finished.try_acquire_for(time));
  const Mutex guard(m_lock, true);
  WakeChecker(Clock::now());  // time alone may have made a check possible
  return IsFinished();
}

bool Dispatcher::Print(std::string& output, std::string& errors) {
  const Mutex guard(m_lock, true);
  const bool isAll = m_window.Print(output, errors);
  WakeReader();
  return isAll;
}

void Dispatcher::End(const std::string& fault) {
  const Mutex guard(m_lock, true);
  m_hasEnded = true;
  m_fault = m_fault.empty() ? fault : m_fault;
  WakeAll();
}

Totals Dispatcher::GetTotals() const {
  const Mutex guard(m_lock, true);
  return m_totals;
}

std::string Dispatcher::GetFault() const {
  const Mutex guard(m_lock, true);
  return m_fault;
}

Dispatcher::Choice Dispatcher::Choose(Clock::time_point now) {
  GatherRepetitions(now);
  if (m_underWay >= m_load.Get() || (MustBeQuiet(now) && !IsQuiet(now))) {
    return Choice::kNone;
  }
  if (!m_repetitions.empty()) {
    return Choice::kRepetition;
  }
  return m_window.HasWaiting() ? Choice::kFirst : Choice::kNone;
}

// Lets the gathered repetitions begin if it is time, or if there is nothing else to do.
void Dispatcher::GatherRepetitions(Clock::time_point now) {
  if (m_repetitions.empty() && !m_gathering.empty() &&
      (now - m_gathering.front().since >= kGathering || !m_window.HasWaiting())) {
    m_repetitions.swap(m_gathering);
  }
}

bool Dispatcher::MustBeQuiet(Clock::time_point now) const {
  return !m_repetitions.empty() || (m_repeating > 0 && now - m_lastRepetition < kQuiet);
}

// Returns whether few of the checks under way began recently.
bool Dispatcher::IsQuiet(Clock::time_point now) const {
  const auto fresh = std::count_if(m_begins.begin(), m_begins.end(), [now](auto begin) {
    return begin != Clock::time_point() && now - begin < kFresh;
  });
  return fresh < std::max(m_load.Get() / kQuietShare, 1U);
}

// Gives `thread` a task if one may begin now.
bool Dispatcher::Start(unsigned thread, std::optional<Task>& task) {
  const Clock::time_point now = Clock::now();
  const Choice choice = Choose(now);
  if (choice == Choice::kNone) {
    return false;
  }
  task = TakeTask(choice, now);
  m_begins[thread] = task->begin;
  ++m_underWay;
  WakeChecker(now);
  WakeReader();
  return true;
}

Dispatcher::Task Dispatcher::TakeTask(Choice choice, Clock::time_point now) {
  Task task;
  task.begin = now;
  if (choice == Choice::kRepetition) {
    task.place = m_repetitions.front().place;
    task.firstBegin = m_repetitions.front().firstBegin;
    m_repetitions.pop_front();
    task.begin = std::max(now, m_lastRepetition + kSpace);
    m_lastRepetition = task.begin;
    ++m_repeating;
  } else {
    task.place = m_window.StartNext();
  }
  task.line = task.place.block->GetLine(task.place.index);
  return task;
}

// Returns whether no check is or will be under way.
bool Dispatcher::IsFinished() const {
  return m_hasEnded || (m_isClosed && m_underWay == 0 && !m_window.HasWaiting() &&
                        m_gathering.empty() && m_repetitions.empty());
}

// Returns whether more lines should be read.
bool Dispatcher::HasRoom() const {
  const bool areFewWaiting = m_window.GetWaitingWeight() < kReadAhead;
  return m_window.GetWeight() < (areFewWaiting ? kLargestWindow : kUsualWindow);
}

void Dispatcher::WakeChecker(Clock::time_point now) {
  if (m_idle > 0 && Choose(now) != Choice::kNone) {
    --m_idle;
    m_task.release();
  }
}

void Dispatcher::WakeReader() {
  if (m_isFull && HasRoom()) {
    m_isFull = false;
    m_room.release();
  }
}

void Dispatcher::WakeAll() {
  m_task.release(m_idle);
  m_idle = 0;
  m_room.release(m_isFull ? 1 : 0);
  m_isFull = false;
  m_finished.release();
}
