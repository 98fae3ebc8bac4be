// Text from strangers, made fit for a line of output.
//
// Any thread may call; nothing blocks.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "framework/core/Export.h"

// Returns `text` with each byte that is not printable ASCII as \ooo, its octal number. A backslash
// stays as it is. Of a text that makes more than `limit` characters the rest is "...".
FWK_EXPORT std::string ToPrintable(std::string_view text, std::size_t limit);
