// The program of tests/consumer, built outside of this checkout.

#pragma once

#include <string>

#include "tests/support/TemporaryDirectory.h"

class Consumer {
 public:
  // Builds it by CMake's package, with further arguments of cmake.
  void BuildByCMake(const std::string& arguments) const;

  // Builds it as pkg-config says, with `environment` (NAME=VALUE...).
  void BuildByPkgConfig(const std::string& environment) const;

  // Expects that it works, and tells the version of the project.
  void ExpectToWork(const std::string& environment) const;

 private:
  TemporaryDirectory m_directory;
};
