// RunFiles are the files of a run, opened, and in the state in which the run goes on: the input is
// after the lines that the output has.
//
// One thread at a time, but one may read the lines while another one writes.

#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "programs/spf-bulk/AppendFile.h"
#include "programs/spf-bulk/InputFile.h"
#include "programs/spf-bulk/LineSource.h"
#include "programs/spf-bulk/Options.h"
#include "programs/spf-bulk/Totals.h"

class RunFiles {
 public:
  // Opens the files that `options` names; reading ends when the peer of `hangUp` does so. Throws a
  // StdException when one cannot be opened, when two are the same, when the output is not empty and
  // no run is to be resumed, and when the files are not those of the run that is to be resumed.
  // Blocks as the files do.
  RunFiles(const Options& options, int hangUp);

  // Returns the input, for the thread that reads.
  LineSource& GetLines() { return m_lines; }

  const InputFile& GetInput() const { return m_input; }

  // Returns what was done before the run was resumed.
  const Totals& GetEarlier() const { return m_earlier; }

  const std::string& GetErrorsName() const { return m_errors->GetName(); }

  // Returns whether the run can be resumed when it ends early.
  bool CanResume() const { return m_hasOutput && m_output.IsRegular(); }

  // Appends to the files: first to that of the errors, so that it never lacks what the output has.
  void Append(std::string_view output, std::string_view errors);

  // Closes the files that were written.
  void Close();

 private:
  void OpenErrors(const std::string& path);
  void Resume(const Options& options);

  InputFile m_input;
  LineSource m_lines;
  bool m_hasOutput;
  AppendFile m_output;
  std::optional<AppendFile> m_errors;
  Totals m_earlier;
};
