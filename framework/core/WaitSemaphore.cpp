#include "framework/core/WaitSemaphore.h"

#include <sched.h>
#include <sys/time.h>

#include <cerrno>

#include "framework/core/Interlocked.h"

namespace {

// Counts a call that is inside the object; the destructor waits for it.
class Visit {
 public:
  explicit Visit(std::atomic<std::int32_t>& count) : m_count(count) { ++m_count; }
  ~Visit() { --m_count; }

  Visit(const Visit&) = delete;
  Visit& operator=(const Visit&) = delete;

 private:
  std::atomic<std::int32_t>& m_count;
};

timespec Deadline(int milliseconds) {
  timeval now{};
  gettimeofday(&now, nullptr);
  return {.tv_sec = now.tv_sec + milliseconds / 1000,
          .tv_nsec = milliseconds % 1000 * 1000000L + now.tv_usec * 1000L};
}

}  // namespace

WaitSemaphore::WaitSemaphore() {
  sem_init(&m_semaphore, 0, 0);
}

WaitSemaphore::~WaitSemaphore() noexcept(false) {
  Shutdown();
  while (m_inside != 0) {
    sched_yield();
  }
}

bool WaitSemaphore::Post() {
  sem_post(&m_semaphore);
  return true;
}

int WaitSemaphore::Wait() {
  const Visit visit(m_inside);
  if (IsStopping() || !Enter()) {
    return 0;
  }
  int result = 0;
  do {
    result = sem_wait(&m_semaphore);
  } while (result == -1 && errno == EINTR && m_stopping == 0);
  Leave();
  return result;
}

bool WaitSemaphore::TimedWait(const int& milliseconds) {
  const Visit visit(m_inside);
  if (IsStopping()) {
    return false;
  }
  const timespec deadline = Deadline(milliseconds);
  if (!Enter()) {
    return false;
  }
  int result = 0;
  do {
    result = sem_timedwait(&m_semaphore, &deadline);
  } while (result == -1 && errno == EINTR && m_stopping == 0);
  Leave();
  return result == 0;
}

std::int32_t WaitSemaphore::GetWaiterCount() {
  const Mutex guard(m_lock, true);
  return m_waiters;
}

void WaitSemaphore::Shutdown() {
  const Mutex guard(m_lock, true);
  m_stopping = 1;
  while (m_waiters != 0) {
    sem_post(&m_semaphore);
    sched_yield();
  }
  sem_destroy(&m_semaphore);
}

bool WaitSemaphore::IsStopping() {
  const Mutex guard(m_lock, true);
  return m_stopping != 0;
}

// Counts the caller as a waiter, unless the semaphore is stopping; returns whether it did. The flag
// is read again after counting, because Shutdown() may have run in between, and it releases only
// the waiters that are counted.
bool WaitSemaphore::Enter() {
  {
    const Mutex guard(Interlocked::m_mtx, true);
    ++m_waiters;
  }
  if (m_stopping == 0) {
    return true;
  }
  Leave();
  return false;
}

// No longer counts the caller, then lets a running Shutdown() finish its step.
void WaitSemaphore::Leave() {
  {
    const Mutex guard(Interlocked::m_mtx, true);
    --m_waiters;
  }
  const Mutex guard(m_lock, true);
}
