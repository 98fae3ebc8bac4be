// Lists as settings have them.
//
// Any thread may call; nothing blocks.

#pragma once

#include <string>
#include <vector>

// Returns the items of `text`, which commas separate, without the blanks around them. An empty text
// has none. Throws a StdException for an empty item.
std::vector<std::string> SplitCommaList(const std::string& text);
