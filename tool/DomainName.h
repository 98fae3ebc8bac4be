// Tells whether a text can be looked up in DNS exactly as it is written.
//
// Thread-safe; nothing blocks.

#pragma once

#include <string_view>

#include "framework/core/Export.h"

// Returns whether `name` consists of labels of 1 to 63 characters, of any kind but dots, and has at
// most 253 characters (RFC 1035, section 2.3.4).
FWK_EXPORT bool IsDomainName(std::string_view name);
