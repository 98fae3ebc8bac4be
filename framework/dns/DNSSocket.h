// DNSSocket is a DNS client: it asks the name server of the process (dns_servers, UDP, port 53) for
// records of one domain.
//
// Each look-up sends one query and uses the first reply; datagrams that are ready together are read
// as one. Look-ups do not retry, and cache nothing except the SPF record. They accept a reply from
// any sender and with any ID, so use a name server on a path that you trust. A look-up waits at
// most twice, up to 5 s each, to send and to receive; a handled signal restarts the wait.
//
// A look-up needs more than 1 MiB of stack and a descriptor below 1024 (UDPSocket.h). With less
// stack the first time-out ends the process by SIGSEGV. If a program has some 1,019 descriptors
// open, every look-up logs an Error and returns an empty list.
//
// Any thread may make an object; one thread at a time may use it.

#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

// Look-ups use statics of these headers. Including them here makes the statics exist before every
// static DNSSocket, and outlive it.
#include "framework/config/Config.h"
#include "framework/config/Environment.h"
#include "framework/core/Export.h"
#include "framework/core/Locks.h"
#include "framework/dns/NameServer.h"
#include "framework/logging/Logger.h"
#include "framework/net/UDPSocket.h"

class FWK_EXPORT DNSSocket : public UDPSocket {
 public:
  // Prepares look-ups of `domain`, as SanitiseUtf8() returns it. Fills dns_servers if it is empty:
  // from the last "nameserver" line of /etc/resolv.conf, else from the configuration entry
  // "dns_server", else with the public resolver 9.9.9.9. Other threads that make or use a DNSSocket
  // block meanwhile.
  explicit DNSSocket(const std::string& domain);
  ~DNSSocket() noexcept(false) override;

  // Fill `out` with the values of the domain's records of one type, cleaned by SanitiseUtf8(), in
  // the order of the reply: dotted quads, host names or texts. Always return 0: a failure shows
  // only as an empty or short list, and in the log. A time-out is logged as Debug, any other
  // failure, including a domain too long for a query, as Error; a reply with an error code or
  // without answers is not logged.
  //
  // Throw only what UDPSocket::Connect() throws, if the name server is 0.0.0.0 or no socket can be
  // opened; `out` is then unchanged. The socket stays open until the next look-up or the end of the
  // object.
  int GetARecords(std::vector<std::string>& out);
  int GetNSRecords(std::vector<std::string>& out);
  int GetTXTRecords(std::vector<std::string>& out);

  // Returns the last TXT record of the domain that contains "v=spf", or an empty text if there is
  // none. Asks the name server unless this object has already found one. Throws as GetTXTRecords()
  // does.
  std::string GetSPFRecord();

 private:
  static void LoadNameServer();
  static std::string GetNameServer();

  int ConnectAndQuery(std::vector<std::string>& out, const unsigned short& type);
  int DoQuery(std::vector<std::string>& out, const unsigned short& type);
  void Exchange(std::vector<std::string>& out, unsigned short type);
  void CollectAnswers(std::span<const unsigned char> reply, std::uint32_t answerStart,
                      std::vector<std::string>& out);

  // Held while dns_servers is filled or read, but not while a program sets it.
  inline static MutexReadWriteInstance m_nameServerLock;

  std::string m_domain;
  std::string m_spfRecord;
};
