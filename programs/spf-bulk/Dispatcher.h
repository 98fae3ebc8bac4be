// Dispatcher gives the lines of the input to the threads that check them, and the outcomes to the
// thread that writes them, in the order of the input. It decides when which check begins:
//
//   - No more are under way than the name server bears (LoadLimit).
//   - A check that lacked an answer is made once more. Such repetitions gather for a second. Then
//     they begin 0.25 ms after one another, while fewer than a quarter as many checks are under
//     way; those that began a second ago wait for an answer and do not count. Until none of them
//     began in the last 0.2 s, other checks begin only while as few are under way. So all questions
//     of a repetition find room at the server.
//   - Lines from the first one that is not written to the last one that was read have 1 MiB. They
//     have more, 32 MiB at most, only while those that wait for their check have less than 128 KiB:
//     a slow line holds back the others, but what is usual on a busy machine costs no memory.
//
// Any thread may use it, in the role that the operation belongs to.

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
    std::optional<Clock::time_point> firstBegin;  // of a check that is made once more
  };

  // `jobs`: how many threads check.
  explicit Dispatcher(unsigned jobs);

  // For the thread that reads. Add blocks until there is room, and returns false once the run has
  // ended. Close tells that no more lines follow; `fault`: what is wrong with the input, if
  // anything is.
  bool Add(std::unique_ptr<LineBlock> block);
  void Close(const std::string& fault);

  // For the threads that check, numbered from 0: finishes `task`, if there is one, with `outcome`,
  // and takes the next. Blocks until there is one, and returns false when there are no more.
  bool Exchange(unsigned thread, std::optional<Task>& task, const Outcome& outcome);

  // For the thread that writes. Wait blocks for at most `time`, and returns whether all lines are
  // done or the run has ended. Print appends what can be written now, some 64 KiB at most; it
  // returns false if there is more.
  bool Wait(Clock::duration time);
  bool Print(std::string& output, std::string& errors);

  // Ends the run before its time, because of `fault`: no task is given any more, and what is not
  // finished yet never will be.
  void End(const std::string& fault);

  Totals GetTotals() const;

  // Returns the first fault that ended the input or the run; empty: none did.
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
  std::deque<Repetition> m_gathering FWK_GUARDED_BY(m_lock);       // that are not to begin yet
  std::deque<Repetition> m_repetitions FWK_GUARDED_BY(m_lock);     // that are
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
