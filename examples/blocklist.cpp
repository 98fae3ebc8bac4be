// Asks DNS blocklists about an IPv4 address and prints one line for each:
//   blocklist ADDRESS ZONE...
//
// Build and run it where libfwk-dev is installed:
//   c++ -std=c++20 blocklist.cpp -o blocklist $(pkg-config --cflags --libs fwk)
//   ./blocklist 192.0.2.2 lists.example.org

#include <arpa/inet.h>

#include <cstdio>
#include <string>

#include "framework/core/Exceptions.h"
#include "framework/net/Socket.h"

namespace {

std::string Ask(const std::string& key, const std::string& zone) {
  try {
    in_addr answer{};
    if (Socket::CheckBlocklist(key, zone, answer.s_addr) == 0) {
      return "not listed";
    }
    return std::string("listed, ") + inet_ntoa(answer);
  } catch (const RBLSocketException& e) {
    return std::string("no answer to trust: ") + e.what();
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  in_addr address{};
  if (argc < 3 || inet_aton(argv[1], &address) == 0) {
    std::fprintf(stderr, "Usage: %s ADDRESS ZONE...\n", argv[0]);
    return 1;
  }
  const std::string key = Socket::ReverseAddress(address.s_addr);
  for (int i = 2; i < argc; ++i) {
    std::printf("%s: %s\n", argv[i], Ask(key, argv[i]).c_str());
  }
  return 0;
}
