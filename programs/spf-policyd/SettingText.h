// Reads the texts of settings.
//
// Any thread may call; nothing blocks.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

// Returns the items of `text`, which are separated by commas, without the blanks around them; none
// for an empty text. Throws a StdException for an empty item.
std::vector<std::string> SplitCommaList(const std::string& text);

// Returns the number that all of `text` is, in 1 to `longest` decimal digits; -1 if it is not one.
int ReadDigits(const std::string& text, std::size_t longest);
