#include "tests/support/Completion.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/Shell.h"
#include "tests/support/Skip.h"

Completion::Completion(const std::string& program) : m_program(program) {
  const TemporaryDirectory& directory = m_directory;
  directory.Write(".hosts", "192.0.2.1 mail.example.org\n192.0.2.2 other.test\n");
  m_setUp = "HOSTFILE=" + directory.Path(".hosts") + "\n. " +
            Quoted(PROJECT_ROOT "/completion/" + program) + "\n";
}

void Completion::ExpectCandidates(const std::vector<std::string>& candidates,
                                  const std::string& text,
                                  const std::vector<std::string>& words) const {
  EXPECT_EQ(Run("compopt() { :; }; " + Call(text, words) +
                "; [ ${#COMPREPLY[@]} = 0 ] || printf '%s\\n' \"${COMPREPLY[@]}\""),
            Lines(candidates))
      << Lines(words);
}

bool Completion::PutsBlank(const std::string& text, const std::vector<std::string>& words) const {
  return Run("compopt() { echo \"$@\"; }; " + Call(text, words)) != "-o nospace\n";
}

void Completion::ExpectFromBashAlone(const std::string& candidate, const std::string& text,
                                     const std::vector<std::string>& words) const {
  EXPECT_EQ(Run("set -u; PATH=/nowhere; " + Call(text, words) + "; echo \"${COMPREPLY[*]}\""),
            candidate + "\n");
}

std::string Completion::ArgumentsTyped(const std::string& keys) const {
  NeedPrograms({"script"});
  if (RunShell("script -qec true /dev/null", "/").exitStatus != 0) {
    Skip("this machine forbids pseudo-terminals");
  }
  m_directory.Write("rc", "PS1= HISTFILE= TERM=dumb\n" + m_setUp + m_program +
                              "() { printf '<%s>' \"$@\" > arguments; }\n");
  Run("printf '%b\\nexit\\n' " + Quoted(keys) +
      " | INPUTRC=/dev/null timeout 30 script -qec 'bash --rcfile rc -i' /dev/null > terminal");
  return m_directory.Read("arguments");
}

std::string Completion::Run(const std::string& script) const {
  const ChildResult result = RunShell(m_setUp + script, m_directory.Path());
  EXPECT_EQ(result.standardError, "");
  return result.standardOutput;
}

// Returns the call that bash makes, after which the candidates are in COMPREPLY.
std::string Completion::Call(const std::string& text, const std::vector<std::string>& words) const {
  std::string line = m_program;
  for (const std::string& word : words) {
    line += " ";
    line += Quoted(word);
  }
  std::string function = "_" + m_program;
  std::replace(function.begin(), function.end(), '-', '_');
  return "COMP_WORDS=(" + line + ") COMP_CWORD=" + std::to_string(words.size()) +
         " COMPREPLY=(left over); " + function + " " + m_program + " " + Quoted(text) +
         " \"${COMP_WORDS[COMP_CWORD - 1]}\"";
}
