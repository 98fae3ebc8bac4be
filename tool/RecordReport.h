// The record report: what DNS holds for a domain, for people to read.
//
// Internal to the tool.

#pragma once

#include <string>

#include "framework/core/Export.h"

// Prints the domain and its A, MX, NS and TXT records on standard output, one section each, in
// the order of the name server's replies. A section whose look-up finds nothing or fails is its
// header alone; the MX section always is, as MX records are not asked for.
//
// Each header is on its way before its look-up starts. Blocks for at most 10 s for each of the
// three look-ups; main thread only. Throws what DNSSocket's look-ups throw.
FWK_EXPORT void PrintRecordReport(const std::string& domain);
