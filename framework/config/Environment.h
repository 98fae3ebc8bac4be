// Environment is what the process knows of the product that it is part of.

#pragma once

#include <string>

class Environment {
 public:
  Environment() = delete;

  // Written by the program's start, before other threads run. The name is the identity of the
  // lines in the system log.
  inline static std::string PRODUCT_NAME = "PRODUCT_NAME";
  inline static std::string PRODUCT_VERSION = "PRODUCT_VERSION";
};
