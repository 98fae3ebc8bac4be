// A file system of a test's own, one page large and in memory, on a directory that goes away with
// it.

#pragma once

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/support/TemporaryDirectory.h"

class SmallDisk {
 public:
  SmallDisk() { EXPECT_EQ(mount("none", Path().c_str(), "tmpfs", 0, "size=1"), 0); }
  ~SmallDisk() { umount2(Path().c_str(), MNT_DETACH); }

  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;

  const std::string& Path() const { return m_directory.Path(); }
  const TemporaryDirectory& Directory() const { return m_directory; }

  static std::size_t GetSize() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }

  // Takes all of its space; gives it back.
  void Fill() const { m_directory.Write("filler", std::string(GetSize(), 'x')); }
  void Empty() const { std::filesystem::remove(m_directory.Path("filler")); }

  void MakeReadOnly() const {
    EXPECT_EQ(mount(nullptr, Path().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
  }

  void Grow() const {
    EXPECT_EQ(mount(nullptr, Path().c_str(), nullptr, MS_REMOUNT, "size=1m"), 0);
  }

 private:
  TemporaryDirectory m_directory;
};
