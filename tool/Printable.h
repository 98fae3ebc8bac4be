// Makes text from an untrusted source fit for a line of output.
//
// Thread-safe; nothing blocks.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "framework/core/Export.h"

// Returns `text` with each byte that is not printable ASCII replaced by its octal number, \ooo. A
// backslash stays unchanged. Replaces everything after the first `limit` characters by "...".
FWK_EXPORT std::string ToPrintable(std::string_view text, std::size_t limit);
