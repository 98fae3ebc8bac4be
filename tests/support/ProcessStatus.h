// Reads the kernel's status of a process or thread.

#pragma once

#include <fstream>
#include <string>

// Returns the value of `name`, such as "VmRSS" without its unit, in the file `status` of
// `directory`, such as "/proc/self"; empty if there is none.
inline std::string ReadStatus(const std::string& directory, const std::string& name) {
  std::ifstream status(directory + "/status");
  std::string word;
  while (status >> word && word != name + ":") {
  }
  return status >> word ? word : "";
}
