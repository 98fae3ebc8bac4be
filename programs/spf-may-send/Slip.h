// What users commonly write in place of the arguments, told by what they wrote.
//
// Any thread may call; nothing blocks. The texts are printable ASCII without a line feed.

#pragma once

#include <string>
#include <vector>

// Returns what to write in place of an `address` or a `sender` that SenderCheck finds malformed or
// without a record; empty where there is nothing to say.
std::string AdviseOnArguments(const std::string& address, const std::string& sender);

// Returns what is wrong with a number of arguments other than two.
std::string AdviseOnCount(const std::vector<std::string>& arguments);
