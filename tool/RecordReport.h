// The record report, which shows people what DNS has for a domain.
//
// Internal to the tool.

#pragma once

#include <string>

#include "framework/core/Export.h"

// Prints `domain` and sections with its A, MX, NS and TXT records on standard output, in the order
// of the name server's replies. A section whose look-up finds nothing or fails is only a header; so
// is always the MX section, because MX records are not asked for.
//
// A header is flushed before its look-up starts. Blocks at most 10 s for each of the three
// look-ups. Must run on the main thread. Throws what DNSSocket's look-ups throw.
FWK_EXPORT void PrintRecordReport(const std::string& domain);
