// What the targets hold the code against.

#pragma once

#include <string>

// Ends the process, which is a finding, when a rule does not hold.
void Require(bool holds, const char* rule);

// Whether text has no control character but tab, line feed and carriage return, and no byte above
// 244, with which no UTF-8 begins.
bool IsClean(const std::string& text);
