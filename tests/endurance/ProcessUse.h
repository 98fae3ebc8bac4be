// What this process holds of the machine.

#pragma once

#include <malloc.h>

#include <cstddef>
#include <fstream>
#include <string>

// Bytes that are allocated and not freed.
inline std::size_t AllocatedBytes() {
  const struct mallinfo2 use = mallinfo2();
  return use.uordblks + use.hblkhd;
}

// Memory of its own, not that of files. The exact count; that of /proc/self/statm lags behind.
inline std::size_t ResidentBytes() {
  std::ifstream use("/proc/self/smaps_rollup");
  std::string word;
  std::size_t kilobytes = 0;
  while (use >> word && word != "Anonymous:") {
  }
  use >> kilobytes;
  return kilobytes * 1024;
}
