// Prints the tree of the records that a check has read, for --explain.
//
// Any thread may call; nothing blocks.

#pragma once

#include <netinet/in.h>

#include <string>

#include "programs/spf-may-send/ReadRecord.h"

// Returns lines of printable ASCII, each ending with a line feed: the records and terms of the
// check of `client`, then the number of terms that other receivers count.
std::string DescribeTree(const ReadRecord& record, in_addr_t client);
