// Describes what an administrator should know before mail of a domain is refused.
//
// One thread at a time. Blocks as look-ups do, at most 20 seconds for each domain.

#pragma once

#include <string>

// Returns the terms that the check does not evaluate in the SPF record of `domain` and in those
// that it includes: mail that only such a term allows is never refused, and forged mail may not be
// refused. The text is ready to be printed and ends with a line feed.
std::string DescribeRecord(const std::string& domain);
