// The entries of the errors file: "number,reason,line" for each line of the input that there is
// something to say about.
//
// Any thread may use them. Nothing blocks.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Returns the entry, with its line feed. A comma in `reason` becomes a semicolon; of `line` it has
// the first SenderLine::kLongest characters, printable (ToPrintable).
std::string MakeErrorEntry(std::uint64_t number, std::string_view reason, std::string_view line);

// Returns the number of an entry; 0 where `entry` does not begin with one.
std::uint64_t NumberOfErrorEntry(std::string_view entry);
