// The name server that all look-ups of the process ask.

#pragma once

#include <string>

#include "framework/core/Export.h"

// The IPv4 address of the name server as a dotted quad, which is not checked. It is empty until the
// first DNSSocket of the process fills it, and then stays unchanged. A program may set it, or empty
// it to have it filled again, while no other thread makes or uses a DNSSocket.
FWK_EXPORT inline std::string dns_servers;

// Returns the second word of the last line in the file at `path` (see resolv.conf(5)) whose first
// word is "nameserver". Returns an empty text if there is no such line or word, or if the file
// cannot be read.
//
// Words end at blanks, not at tabs. Lines that begin with "#" are skipped. Thread-safe; blocks like
// the file.
FWK_EXPORT std::string ReadNameServer(const std::string& path);
