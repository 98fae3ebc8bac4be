// Uses each library once, as programs outside this repository do:
//   consumer DOMAIN ADDRESS

#include <cstdio>
#include <string>
#include <vector>

#include "framework/core/Exceptions.h"
#include "framework/core/Version.h"
#include "framework/dns/DNSSocket.h"
#include "framework/logging/Logger.h"
#include "framework/net/UDPSocket.h"
#include "tool/SPFCheck.h"

namespace {

// Returns the text of an exception that a library throws, caught by its type.
std::string CatchByType() {
  try {
    UDPSocket(0, 0).Connect("0.0.0.0", "53", true);
  } catch (const UDPSocketException& e) {
    return e.what();
  }
  return "nothing thrown";
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc != 3) {
    return 1;
  }
  std::printf("%s\n", FWK_VERSION);
  fwk::Logger::Init("consumer-", fwk::Info, false, false);
  fwk::Logger::StartAsync();
  fwk::Logger::LogSync(fwk::Info, "asked for %s", argv[1]);
  fwk::Logger::StopAsync();

  std::vector<std::string> addresses;
  DNSSocket(argv[1]).GetARecords(addresses);
  for (const std::string& address : addresses) {
    std::printf("%s\n", address.c_str());
  }
  std::printf("%s\n", CatchByType().c_str());
  std::printf("%s\n", SPFCheck(argv[2], "", argv[1], 0, "").getResult() ? "passed" : "failed");
  return 0;
}
