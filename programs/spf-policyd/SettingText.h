// Reads the lists in settings.
//
// Any thread may call; nothing blocks.

#pragma once

#include <string>
#include <vector>

// Returns the items of `text`, which are separated by commas, without the blanks around them; none
// for an empty text. Throws a StdException for an empty item.
std::vector<std::string> SplitCommaList(const std::string& text);
