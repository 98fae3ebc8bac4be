#include "programs/spf-bulk/RunFiles.h"

#include "framework/core/Exceptions.h"
#include "programs/spf-bulk/Resumption.h"
#include "programs/spf-bulk/SenderLine.h"

RunFiles::RunFiles(const BulkOptions& options, int hangUp)
    : m_input(options.input),
      m_lines(m_input.GetDescriptor(), SenderLine::kEnough, m_input.GetName(), hangUp),
      m_hasOutput(options.output.has_value()),
      m_output(options.output) {
  if (m_output.IsSameAs(m_input.GetDescriptor())) {
    throw StdException("the output is the input: " + m_output.GetName());
  }
  m_output.Lock();
  if (m_hasOutput && !options.isResumed && m_output.GetSize() != 0) {
    throw StdException(m_output.GetName() + " is not empty: go on with --resume, or remove it");
  }
  OpenErrors(options.errors);
  if (options.isResumed) {
    Resume(options);
  } else {
    m_errors->Cut(0);
  }
}

void RunFiles::OpenErrors(const std::string& path) {
  m_errors.emplace(path);
  if (m_errors->IsSameAs(m_input.GetDescriptor())) {
    throw StdException("the errors file is the input: " + m_errors->GetName());
  }
  if (m_errors->IsSameAs(m_output.GetDescriptor())) {
    throw StdException("the errors file is the output: " + m_errors->GetName());
  }
  m_errors->Lock();
}

void RunFiles::Resume(const BulkOptions& options) {
  if (!m_output.IsRegular() || !m_errors->IsRegular()) {
    throw StdException("to resume, output and errors file must be regular files");
  }
  const Resumption resumption(m_lines, *options.output, options.errors);
  m_output.Cut(resumption.GetOutputSize());
  m_errors->Cut(resumption.GetErrorsSize());
  m_earlier = resumption.GetTotals();
}

void RunFiles::Append(std::string_view output, std::string_view errors) {
  m_errors->Append(errors);
  m_output.Append(output);
}

void RunFiles::Close() {
  m_errors->Close();
  m_output.Close();
}
