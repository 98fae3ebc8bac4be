#include "framework/dns/NameServer.h"

#include "framework/Utilities/LineReader.h"
#include "framework/Utilities/StringUtilities.h"
#include "framework/config/Config.h"
#include "framework/dns/DNSSocket.h"

namespace {

constexpr char kPublicResolver[] = "9.9.9.9";

std::string NextWord(std::string& line) {
  return Trim(GetToken(' ', line), " \n\r\t").CopyCString();
}

}  // namespace

std::string ReadNameServer(const std::string& path) {
  std::string address;
  LineReader reader(path, LineReader::kNoLimit);
  std::string line;
  while (reader.Next(line)) {
    if (line.empty() || line.front() == '#') {
      continue;
    }
    if (NextWord(line) == "nameserver") {
      address = NextWord(line);
    }
  }
  return address;
}

void DNSSocket::LoadNameServer() {
  const MutexWrite guard(m_nameServerLock);
  if (!dns_servers.empty()) {
    return;
  }
  dns_servers = ReadNameServer("/etc/resolv.conf");
  if (dns_servers.empty()) {
    dns_servers = Config::GetString("dns_server", kPublicResolver);
  }
}

std::string DNSSocket::GetNameServer() {
  const MutexRead guard(m_nameServerLock);
  return dns_servers;
}
