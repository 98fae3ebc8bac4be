// Reports each allocation of the process: each malloc() with the address or thread sanitizer, and
// otherwise each operator new, which this replaces.

#pragma once

#include <cstddef>

// Calls `watch` with the size of each later allocation, before it returns. Call it once.
void WatchAllocations(void (*watch)(std::size_t size));
