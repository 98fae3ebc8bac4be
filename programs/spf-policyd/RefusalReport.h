// What an administrator should know before he lets mail of a domain be refused.
//
// One thread at a time. Blocks as look-ups do, at most 20 seconds for each domain.

#pragma once

#include <string>

// Returns, for the SPF record of `domain` and those that it includes, the terms that the check does
// not evaluate: mail that only such a term allows is never refused, and forged mail may not be
// either. Ends with a line feed; ready to be printed.
std::string DescribeRecord(const std::string& domain);
