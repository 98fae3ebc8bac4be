// Dispatcher gives the lines of the input to the threads that check them, and the outcomes to the
// thread that writes them, in the order of the input. It decides when each check begins:
//
//   - At most as many are under way as the name server can take (LoadLimit).
//   - A check that lacked an answer is repeated once. Such repetitions gather for a second. Then
//     they begin at intervals of 0.25 ms, while fewer than a quarter of that number are under way;
//     checks that began more than a second ago wait for an answer and do not count. Until 0.2 s
//     after the last repetition began, other checks begin only under the same condition. So the
//     server has room for all questions of a repetition.
//   - From the first line that is not written to the last one that was read there may be 1 MiB.
//     There may be more, at most 32 MiB, only while the lines that wait for their check have less
//     than 128 KiB: a slow line holds back the others, but the usual delays of a busy machine cost
//     no memory.
//
// Any thread may use it, in the role that an operation belongs to.

#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <semaphore>
#include <string>
#include <string_view>
#include <vector>

#include "framework/core/Locks.h"
#include "framework/core/ThreadAnnotations.h"
#include "programs/spf-bulk/LineBlock.h"
#include "programs/spf-bulk/LineWindow.h"
#include "programs/spf-bulk/LoadLimit.h"
#include "programs/spf-bulk/Outcome.h"
#include "programs/spf-bulk/Totals.h"

class Dispatcher {
 public:
  using Clock = std::chrono::steady_clock;

  // One check of a line.
  struct Task {
    LineWindow::Place place;
    std::string_view line;                        // valid until the task is finished
    Clock::time_point begin;                      // when it may begin
    std::optional<Clock::time_point> firstBegin;  // of a check that is repeated
  };

  // `jobs`: the number of threads that check.
  explicit Dispatcher(unsigned jobs);

  // For the thread that reads. Add blocks until there is room, and returns false once the run has
  // ended. Close says that no more lines follow; `fault`: of the input, empty if there is none.
  bool Add(std::unique_ptr<LineBlock> block);
  void Close(const std::string& fault);

  // For the threads that check, numbered from 0. Finishes `task`, if there is one, with `outcome`,
  // and takes the next one. Blocks until there is one; returns false if there are no more.
  bool Exchange(unsigned thread, std::optional<Task>& task, const Outcome& outcome);

  // For the thread that writes. Wait blocks for at most `time`, and returns whether all lines are
  // done or the run has ended. Print appends the text that can be written now, at most about 64
  // KiB, and returns false if there is more.
  bool Wait(Clock::duration time);
  bool Print(std::string& output, std::string& errors);

  // Ends the run early because of `fault`: gives no more tasks, and ignores the outcomes of those
  // under way.
  void End(const std::string& fault);

  Totals GetTotals() const;

  // Returns the first fault that ended the input or the run; empty if there is none.
  std::string GetFault() const;

 private:
  enum class Choice { kNone, kFirst, kRepetition };

  struct Repetition {
    LineWindow::Place place;
    Clock::time_point firstBegin;
    Clock::time_point since;
  };

  void Finish(unsigned thread, const Task& task, const Outcome& outcome) FWK_REQUIRES(m_lock);
  bool Start(unsigned thread, std::optional<Task>& task) FWK_REQUIRES(m_lock);
  Task TakeTask(Choice choice, Clock::time_point now) FWK_REQUIRES(m_lock);
  Choice Choose(Clock::time_point now) FWK_REQUIRES(m_lock);
  void GatherRepetitions(Clock::time_point now) FWK_REQUIRES(m_lock);
  bool MustBeQuiet(Clock::time_point now) const FWK_REQUIRES(m_lock);
  bool IsQuiet(Clock::time_point now) const FWK_REQUIRES(m_lock);
  bool IsFinished() const FWK_REQUIRES(m_lock);
  bool HasRoom() const FWK_REQUIRES(m_lock);
  void WakeChecker(Clock::time_point now) FWK_REQUIRES(m_lock);
  void WakeReader() FWK_REQUIRES(m_lock);
  void WakeAll() FWK_REQUIRES(m_lock);

  mutable MutexInstance m_lock{PTHREAD_MUTEX_RECURSIVE};
  LineWindow m_window FWK_GUARDED_BY(m_lock);
  LoadLimit m_load FWK_GUARDED_BY(m_lock);
  Totals m_totals FWK_GUARDED_BY(m_lock);
  std::deque<Repetition> m_gathering FWK_GUARDED_BY(m_lock);       // may not begin yet
  std::deque<Repetition> m_repetitions FWK_GUARDED_BY(m_lock);     // may begin
  unsigned m_repeating FWK_GUARDED_BY(m_lock) = 0;                 // repetitions under way
  Clock::time_point m_lastRepetition FWK_GUARDED_BY(m_lock);       // when it began
  std::vector<Clock::time_point> m_begins FWK_GUARDED_BY(m_lock);  // by thread; {}: none
  unsigned m_underWay FWK_GUARDED_BY(m_lock) = 0;
  unsigned m_idle FWK_GUARDED_BY(m_lock) = 0;    // threads that wait for m_task
  bool m_isFull FWK_GUARDED_BY(m_lock) = false;  // the reader waits for m_room
  bool m_isClosed FWK_GUARDED_BY(m_lock) = false;
  bool m_hasEnded FWK_GUARDED_BY(m_lock) = false;
  std::string m_fault FWK_GUARDED_BY(m_lock);
  std::counting_semaphore<> m_task{0};
  std::counting_semaphore<> m_room{0};
  std::counting_semaphore<> m_finished{0};
};
