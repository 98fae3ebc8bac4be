// The rules that targets check.

#pragma once

#include <string>

// Ends the process, which is a finding, unless `holds` is true; prints `rule`.
void Require(bool holds, const char* rule);

// Returns whether `text` has no control characters except tab, line feed and carriage return, and
// no bytes above 244, which UTF-8 does not have.
bool IsClean(const std::string& text);
