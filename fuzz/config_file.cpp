// Reads the input as a configuration file; its first line is the name of the section.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "framework/config/Config.h"
#include "fuzz/Budget.h"
#include "fuzz/MemoryFile.h"
#include "fuzz/Rules.h"

namespace {

constexpr Budget::Limits kLimits{
    .microseconds = 50000, .microsecondsPerByte = 20, .bytes = 32768, .bytesPerByte = 256};

void CheckEntry(const std::string& key, const std::string& value) {
  constexpr int kAbsent = -1;
  Require(!key.empty() && key.size() + value.size() < 1024, "an entry fits a line");
  Require(Config::GetString(key, "absent") == value, "an entry is found by its key");
  const int number = Config::GetInt(key, kAbsent);
  Require(number == kAbsent || value.find_first_not_of("+-0123456789") == std::string::npos,
          "only digits and a sign are a number");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Budget budget(kLimits, size);
  const std::string input(data, data + size);
  const std::size_t end = std::min(input.find('\n'), size);
  Config::Load(MemoryFile(input.substr(end)).Path(), input.substr(0, end));

  std::string rewritten;
  for (const auto& [key, value] : Config::m_config) {
    CheckEntry(key, value);
    rewritten += key + "=" + value + "\n";
  }
  const std::map<std::string, std::string> entries = Config::m_config;
  Config::Load(MemoryFile(rewritten).Path(), "");
  Require(Config::m_config == entries, "entries that are written are read again unchanged");
  return 0;
}
