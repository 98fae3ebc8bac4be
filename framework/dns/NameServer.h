// The name server that every look-up of the process asks.

#pragma once

#include <string>

#include "framework/core/Export.h"

// One IPv4 address as dotted quad, not checked; asked on port 53. Empty until the first DNSSocket
// of the process fills it; then it stays as it is. A program may set it, or empty it to have it
// filled again, while no other thread makes or uses a DNSSocket.
FWK_EXPORT inline std::string dns_servers;

// The address on the last line of the resolver file at path whose first word is "nameserver"
// (resolv.conf(5)); empty when there is no such line, when nothing follows the word, and when the
// file cannot be read.
//
// Words end at a blank, not at a tab. A line that begins with "#" is skipped. Any thread may call;
// blocks as the file does.
FWK_EXPORT std::string ReadNameServer(const std::string& path);
