// Tells of each allocation of the process: with the address or thread sanitizer those of malloc(),
// which sees all, and otherwise those of operator new, which a program that links this has of its
// own.

#pragma once

#include <cstddef>

// From now on watch is called for each allocation, before it returns, with its size. To be called
// once.
void WatchAllocations(void (*watch)(std::size_t size));
