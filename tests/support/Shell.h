// Runs bash, for steps that are plainer in a shell than in C++.

#pragma once

#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/Text.h"

// Runs `script` with bash in `directory`, for at most `seconds`.
ChildResult RunShell(const std::string& script, const std::string& directory,
                     unsigned int seconds = 60);

// Returns what `script` prints on standard output. Fails the test if the script fails.
std::string OutputOf(const std::string& script, const std::string& directory,
                     unsigned int seconds = 60);

// Returns `text` as one word of a shell.
std::string Quoted(const std::string& text);

// Skips the test where one of `programs` is missing, here and in the directories of daemons.
void NeedPrograms(const std::vector<std::string>& programs);
