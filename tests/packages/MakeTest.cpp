#include <gtest/gtest.h>

#include "tests/support/Shell.h"

TEST(MakeTest, ThePackagesAreMade) {
  NeedPrograms({"g++", "cmake", "ninja", "flock", "dpkg", "dh"});
  OutputOf("scripts/package", PROJECT_ROOT, 590);
}
