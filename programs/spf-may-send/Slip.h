// Recognizes common mistakes in the arguments, and says what to write instead.
//
// Any thread may call; nothing blocks. The texts are printable ASCII without a line feed.

#pragma once

#include <string>
#include <vector>

// Returns what to write instead of an `address` or a `sender` that SenderCheck finds malformed or
// without a record; empty if there is nothing to say.
std::string AdviseOnArguments(const std::string& address, const std::string& sender);

// Returns what is wrong with `arguments`, whose number is not two.
std::string AdviseOnCount(const std::vector<std::string>& arguments);
