// The candidates that bash offers for a program's arguments.

#pragma once

#include <string>
#include <vector>

#include "tests/support/TemporaryDirectory.h"

class Completion {
 public:
  // Bash knows the hosts mail.example.org and other.test, and works in an empty directory.
  explicit Completion(const std::string& program);

  // Makes an empty file in that directory.
  void MakeFile(const std::string& name) const { m_directory.Write(name, ""); }

  // Expects `candidates` for the last of `words`, which are cut as bash cuts them. `text` is the
  // part that bash replaces.
  void ExpectCandidates(const std::vector<std::string>& candidates, const std::string& text,
                        const std::vector<std::string>& words) const;

  // Returns whether bash appends a blank to a candidate.
  bool PutsBlank(const std::string& text, const std::vector<std::string>& words) const;

  // Expects `candidate` from a shell that has no commands and stops at unset variables.
  void ExpectFromBashAlone(const std::string& candidate, const std::string& text,
                           const std::vector<std::string>& words) const;

  // Returns the program's arguments, each in angle brackets, after a user has typed `keys` ("\t"
  // for a tab) and an end of line in a terminal. Skips the test where the machine forbids
  // terminals.
  std::string ArgumentsTyped(const std::string& keys) const;

 private:
  std::string Run(const std::string& script) const;
  std::string Call(const std::string& text, const std::vector<std::string>& words) const;

  std::string m_program;
  TemporaryDirectory m_directory;
  std::string m_setUp;  // what bash reads first
};
