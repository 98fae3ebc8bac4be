// Reads what the command lines of several programs have in common.
//
// Internal to the programs. Thread-safe, but dns_servers must not change meanwhile; nothing blocks.

#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "framework/core/Export.h"

// Returns an argument for a message: as ToPrintable() does, with at most 80 characters.
FWK_EXPORT std::string QuoteArgument(std::string_view argument);

// Returns the number that all of `text` is, in decimal without an exponent, or -1 if it is not one.
FWK_EXPORT double ReadNumber(const std::string& text);

// Returns the value of --time-limit, 1 ms to a day. Throws std::invalid_argument with a text for
// the user.
FWK_EXPORT std::chrono::milliseconds ReadTimeLimit(const std::string& text);

// Returns the value of --server, a dotted quad. Throws std::invalid_argument with a text for the
// user.
FWK_EXPORT std::string ReadServer(const std::string& text);

// Returns whether look-ups can ask dns_servers, which they read by inet_addr(3).
FWK_EXPORT bool HasServer();

// Returns what to tell the user if there is no such address.
FWK_EXPORT std::string DescribeMissingServer();
