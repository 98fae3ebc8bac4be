#include "programs/spf-bulk/BulkRun.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>

#include "framework/core/Exceptions.h"

namespace {

constexpr std::chrono::milliseconds kTick{20};
constexpr rlim_t kOtherDescriptors = 24;  // for anything but look-ups

// Raises the limit of descriptors so that each check has one. Throws a StdException if the system
// does not allow that.
void RaiseDescriptorLimit(unsigned jobs) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlim_t needed = jobs + kOtherDescriptors;
  if (limit.rlim_cur < needed) {
    limit.rlim_cur = std::min(needed, limit.rlim_max);
    setrlimit(RLIMIT_NOFILE, &limit);
  }
  if (limit.rlim_cur < needed) {
    throw StdException("only " + std::to_string(limit.rlim_cur) + " descriptors are allowed, but " +
                       std::to_string(needed) + " are needed for " + std::to_string(jobs) +
                       " checks at once: see -j, and ulimit -n");
  }
}

}  // namespace

BulkRun::BulkRun(const BulkOptions& options)
    : m_options(options),
      m_dispatcher(options.jobs),
      m_watch([this] {
        m_dispatcher.End("");
        m_hangUp.Tell();
      }),
      m_checkerRun{m_dispatcher, m_hangUp, nullptr, options.timeLimit} {
  if (options.interval) {
    m_checkerRun.pace = &m_pace.emplace(*options.interval);
  }
}

BulkRun::~BulkRun() {
  EndThreads();
}

bool BulkRun::Run() {
  m_watch.StartObjectThread(false, -1);
  RaiseDescriptorLimit(m_options.jobs);
  m_files.emplace(m_options, m_hangUp.GetDescriptor());
  if (m_options.showsProgress.value_or(isatty(STDERR_FILENO) != 0)) {
    m_progress.emplace(m_files->GetInput(), std::chrono::steady_clock::now());
  }
  StartThreads();
  try {
    WriteUntilDone();
  } catch (const StdException& e) {
    m_dispatcher.End(e.what());
  }
  if (m_progress) {
    m_progress->Erase();
  }
  return Conclude();
}

void BulkRun::StartThreads() {
  m_reader = std::make_unique<InputReader>(m_files->GetLines(), m_dispatcher);
  try {
    m_reader->StartObjectThread(false, -1);
    for (unsigned i = 0; i < m_options.jobs; ++i) {
      m_checkers.push_back(std::make_unique<Checker>(m_checkerRun, i));
      m_checkers.back()->StartObjectThread(false, -1);
    }
  } catch (const StdSystemException& e) {
    throw StdException("cannot start a thread for each of " + std::to_string(m_options.jobs) +
                       " checks at once: " + std::strerror(e.GetCode()) + "; see -j");
  }
}

void BulkRun::EndThreads() {
  m_dispatcher.End("");
  m_hangUp.Tell();
  m_checkers.clear();
  m_reader.reset();
}

void BulkRun::WriteUntilDone() {
  bool isDone = false;
  while (!isDone) {
    isDone = m_dispatcher.Wait(kTick);
    WriteWhatIsDone();
    if (m_progress) {
      m_progress->Draw(GetTotals(), std::chrono::steady_clock::now());
    }
  }
}

void BulkRun::WriteWhatIsDone() {
  bool isAll = false;
  while (!isAll) {
    m_output.clear();
    m_errors.clear();
    isAll = m_dispatcher.Print(m_output, m_errors);
    m_files->Append(m_output, m_errors);
  }
}

bool BulkRun::Conclude() {
  const std::string fault = m_dispatcher.GetFault();
  const std::string advice = m_files->CanResume() ? "; go on with --resume" : "";
  if (m_watch.GetSignal() != 0) {
    std::fprintf(stderr, "spf-bulk: ended by a signal%s\n", advice.c_str());
    m_watch.EndProgram();
  }
  if (!fault.empty()) {
    throw StdException(fault + advice);
  }
  m_files->Close();
  const Totals totals = GetTotals();
  std::fprintf(stderr, "spf-bulk: %s\n", totals.Describe(m_files->GetErrorsName()).c_str());
  return totals.error + totals.malformed == 0;
}

Totals BulkRun::GetTotals() const {
  Totals totals = m_files->GetEarlier();
  totals += m_dispatcher.GetTotals();
  return totals;
}
