// RunFiles opens the files of a run and prepares them: the input continues after the lines that the
// output has.
//
// One thread at a time, but one may read lines while another one writes.

#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "programs/spf-bulk/AppendFile.h"
#include "programs/spf-bulk/BulkOptions.h"
#include "programs/spf-bulk/InputFile.h"
#include "programs/spf-bulk/LineSource.h"
#include "programs/spf-bulk/Totals.h"

class RunFiles {
 public:
  // Opens the files that `options` names; `hangUp` ends the reading as in LineSource. Throws a
  // StdException if one cannot be opened, if two are the same, if the output of a new run is not
  // empty, and if the files are not those of the run to resume. Blocks as the files do.
  RunFiles(const BulkOptions& options, int hangUp);

  // Returns the input, for the thread that reads.
  LineSource& GetLines() { return m_lines; }

  const InputFile& GetInput() const { return m_input; }

  // Returns the totals of the run that is resumed.
  const Totals& GetEarlier() const { return m_earlier; }

  const std::string& GetErrorsName() const { return m_errors->GetName(); }

  // Returns whether the run can be resumed if it ends early.
  bool CanResume() const { return m_hasOutput && m_output.IsRegular(); }

  // Appends to the errors file, then to the output, whose lines thus always have their entries.
  void Append(std::string_view output, std::string_view errors);

  // Closes the files that were written.
  void Close();

 private:
  void OpenErrors(const std::string& path);
  void Resume(const BulkOptions& options);

  InputFile m_input;
  LineSource m_lines;
  bool m_hasOutput;
  AppendFile m_output;
  std::optional<AppendFile> m_errors;
  Totals m_earlier;
};
