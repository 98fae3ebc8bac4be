// A directory of its own for a test, with a file system in memory that has one page.

#pragma once

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <string>

#include "tests/support/TemporaryDirectory.h"

class SmallDisk : public TemporaryDirectory {
 public:
  SmallDisk() { EXPECT_EQ(mount("none", Path().c_str(), "tmpfs", 0, "size=1"), 0); }
  ~SmallDisk() { umount2(Path().c_str(), MNT_DETACH); }

  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;

  static std::size_t GetSize() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }

  // Takes all of its space.
  void Fill() const { Write("filler", std::string(GetSize(), 'x')); }

  void Grow() const {
    EXPECT_EQ(mount(nullptr, Path().c_str(), nullptr, MS_REMOUNT, "size=1m"), 0);
  }
};
