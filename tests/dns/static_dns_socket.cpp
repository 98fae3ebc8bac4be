// A program with a static DNSSocket, whose header is the only one of the framework that it
// includes. It ends with status 0 when both of its look-ups find the same.

#include <cstdlib>
#include <string>
#include <vector>

#include "framework/dns/DNSSocket.h"

namespace {

// Looks up two names when it is made and again when it is destroyed. One of them is too long, which
// is logged.
class Client {
 public:
  Client() { LookUp(m_first); }

  ~Client() {
    std::vector<std::string> last;
    LookUp(last);
    if (last != m_first) {
      std::_Exit(1);
    }
  }

  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  bool HasFound() const { return !m_first.empty(); }

 private:
  static void LookUp(std::vector<std::string>& addresses) {
    std::vector<std::string> none;
    DNSSocket(std::string(2000, 'x')).GetARecords(none);
    DNSSocket("example.org").GetARecords(addresses);
  }

  std::vector<std::string> m_first;
};

const Client client;

}  // namespace

int main() {
  return client.HasFound() ? 0 : 1;
}
