#pragma once

#include <fcntl.h>

#include <cstddef>
#include <filesystem>

// Returns how many descriptors this process has open, and one that it needs for counting.
inline std::ptrdiff_t OpenDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

inline bool IsOpen(int descriptor) {
  return fcntl(descriptor, F_GETFD) != -1;
}

inline bool IsNonBlocking(int descriptor) {
  return (fcntl(descriptor, F_GETFL) & O_NONBLOCK) != 0;
}
