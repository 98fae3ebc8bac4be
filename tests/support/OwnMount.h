// While one exists, a directory of the system is empty for this process and its children. For
// programs that link test_private_network, whose mounts nobody else sees.

#pragma once

#include <gtest/gtest.h>
#include <sys/mount.h>

class OwnMount {
 public:
  explicit OwnMount(const char* path) : m_path(path) {
    EXPECT_EQ(mount("none", m_path, "tmpfs", 0, nullptr), 0) << m_path;
  }
  ~OwnMount() { umount2(m_path, MNT_DETACH); }

  OwnMount(const OwnMount&) = delete;
  OwnMount& operator=(const OwnMount&) = delete;

 private:
  const char* m_path;
};
