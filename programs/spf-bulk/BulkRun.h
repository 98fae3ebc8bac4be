// BulkRun is one run of spf-bulk: it starts the threads, writes their results, and reports how the
// run ended.
//
// For the main thread. The others are a SignalWatch, an InputReader, and a Checker for each job.

#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "programs/spf-bulk/BulkOptions.h"
#include "programs/spf-bulk/Checker.h"
#include "programs/spf-bulk/Dispatcher.h"
#include "programs/spf-bulk/HangUp.h"
#include "programs/spf-bulk/InputReader.h"
#include "programs/spf-bulk/Pace.h"
#include "programs/spf-bulk/Progress.h"
#include "programs/spf-bulk/RunFiles.h"
#include "programs/spf-bulk/SignalWatch.h"
#include "programs/spf-bulk/Totals.h"

class BulkRun {
 public:
  // `options` must outlive the object.
  explicit BulkRun(const BulkOptions& options);
  ~BulkRun();

  // Runs to the end. Returns whether each line has passed or failed. Throws a StdException if the
  // run cannot begin or is incomplete. A signal that ends the run ends the program.
  bool Run();

 private:
  void StartThreads();
  void EndThreads();
  void WriteUntilDone();
  void WriteWhatIsDone();
  bool Conclude();
  Totals GetTotals() const;

  const BulkOptions& m_options;
  HangUp m_hangUp;
  Dispatcher m_dispatcher;
  SignalWatch m_watch;
  std::optional<RunFiles> m_files;
  std::optional<Progress> m_progress;
  std::optional<Pace> m_pace;
  Checker::Run m_checkerRun;
  std::unique_ptr<InputReader> m_reader;
  std::vector<std::unique_ptr<Checker>> m_checkers;
  std::string m_output;  // to be written
  std::string m_errors;
};
