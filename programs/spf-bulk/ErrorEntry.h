// Makes and reads the entries of the errors file: "number,reason,line".
//
// Any thread may call; nothing blocks.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Returns the entry with its line feed. A comma in `reason` becomes a semicolon; the entry has the
// first SenderLine::kLongest characters of `line`, made printable by ToPrintable().
std::string MakeErrorEntry(std::uint64_t number, std::string_view reason, std::string_view line);

// Returns the number of `entry`; 0 if it does not begin with one.
std::uint64_t NumberOfErrorEntry(std::string_view entry);
