// Reads the input as the resolver file.

#include <cstddef>
#include <cstdint>
#include <string>

#include "framework/dns/NameServer.h"
#include "fuzz/Budget.h"
#include "fuzz/MemoryFile.h"
#include "fuzz/Rules.h"

namespace {

constexpr Budget::Limits kLimits{
    .microseconds = 50000, .microsecondsPerByte = 20, .bytes = 32768, .bytesPerByte = 128};

std::string Read(const std::string& content) {
  return ReadNameServer(MemoryFile(content).Path());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Budget budget(kLimits, size);
  const std::string content(data, data + size);
  const std::string address = Read(content);

  Require(address.find_first_of(std::string(" \n\0", 3)) == std::string::npos,
          "an address is one word");
  Require(content.find(address) != std::string::npos, "an address is in the file");
  Require(address.empty() || content.find("nameserver") != std::string::npos,
          "without the word there is no address");
  Require(Read(content + "\n#nameserver 192.0.2.1\n") == address, "a comment does not count");
  Require(Read(content + "\nnameserver 192.0.2.1\n") == "192.0.2.1", "the last line counts");
  return 0;
}
